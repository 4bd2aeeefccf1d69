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
// Words are kept apart by blanks; a name or text that holds blanks, or is a brace alone, stands in
// single quotes, and two of them in a text are one. `s` is REG_SZ, `d` REG_DWORD (decimal, or hex
// behind 0x), `val` is a value. %NAME% is replaced. Roots are HKCR and HKLM, keys may lie 32 deep.
//
// Registering replaces a ForceRemove key as a whole. Unregistering takes away a ForceRemove key
// as a whole, of any other one the values that the script names, and the key itself if nothing is
// left in it; a NoRemove key stays, with its default value.

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
/// registry's own error otherwise: registering stops there, unregistering goes on. Unregistering
/// what isn't there, or is only installed for everybody, succeeds.
HRESULT runRegistryScript(HMODULE module, WORD resource, bool install,
                          std::span<const RegistrarWord> words) noexcept;

}  // namespace zlk

/// Writes all of HKEY_CLASSES_ROOT's own classes as a store of installed classes to the new file
/// `path` (ERROR_FILE_EXISTS otherwise), which goes beside the modules. A server path that names a
/// file becomes the bare file name, since installed modules are found beside that store wherever
/// the tree is moved.
LSTATUS saveInstalledClasses(const WCHAR* path) noexcept;

#pragma GCC visibility pop
