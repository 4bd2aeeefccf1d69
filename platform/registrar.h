#pragma once
// Runs the REGISTRY resources of a module: scripts in the registrar's text form, which say which
// keys and values stand for a class.
//
//     HKCR
//     {
//         Key.Name = s 'default value'
//         {
//             ForceRemove SubKey = s '%MODULE%'
//             {
//                 val Name = s 'text'
//             }
//         }
//         NoRemove CLSID { ... }
//     }
//
// A name that holds blanks or braces stands in single quotes; two of them in a text are one. `s`
// is REG_SZ, `d` REG_DWORD. ForceRemove replaces the key as a whole when it is registered;
// NoRemove keeps a key when its script is unregistered, `val` is a value. %NAME% is replaced.

#include <span>
#include <string_view>

#include "platform/component.h"
#include "platform/modules.h"

namespace zlk {

/// A replacement word and its text, as {u"MODULE", path}.
struct RegistrarWord {
    std::u16string_view name;
    std::u16string_view text;
};

#pragma GCC visibility push(default)

/// Runs one script; `install` false takes away what it wrote. The script is checked whole before
/// the first write. E_INVALIDARG for a script that doesn't parse or an unknown word,
/// HRESULT_FROM_WIN32(ERROR_RESOURCE_NOT_FOUND) for a module without that resource, and the
/// registry's own error otherwise. Unregistering what isn't there succeeds.
HRESULT runRegistryScript(HMODULE module, WORD resource, bool install,
                          std::span<const RegistrarWord> words) noexcept;

#pragma GCC visibility pop

}  // namespace zlk
