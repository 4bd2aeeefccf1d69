#pragma once
// Runs the REGISTRY resources of a module: scripts in the registrar's text form, which list the
// keys and values that register a class. It also writes the store of installed classes. Every call
// may come from any thread.
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
// Words are separated by blanks and line ends. A name or text that is empty, contains blanks,
// begins with a quote, or would be read as a brace, a sign or a keyword stands in single quotes;
// between the quotes, two in a row mean one. `s` is REG_SZ, `d` is REG_DWORD (decimal, or
// hexadecimal after 0x), `val` starts a value. %NAME% is replaced by the caller's text for NAME.
// Roots are HKCR and HKLM, or their full names; keys may lie up to 32 levels deep.
//
// Registering replaces a ForceRemove key of the store as a whole. Unregistering deletes a
// ForceRemove key as a whole, unless it is a NoRemove key too; of any other key it deletes the
// values that the script names, and then the key itself if nothing is left in it. A NoRemove key
// stays, with its default value.

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

/// Runs one script; with `install` false it takes away what the script wrote. The script is checked
/// as a whole before the first write. E_INVALIDARG for a script that doesn't parse or has an
/// unknown word, HRESULT_FROM_WIN32(ERROR_RESOURCE_NOT_FOUND) for a module without that resource,
/// otherwise the HRESULT of the registry's own error, or E_OUTOFMEMORY. Registering stops at an
/// error; unregistering goes on, unless the store can't be written at all. Unregistering succeeds
/// where the keys aren't there, or are only among the installed classes.
HRESULT runRegistryScript(HMODULE module, WORD resource, bool install,
                          std::span<const RegistrarWord> words) noexcept;

}  // namespace zlk

/// Writes all classes of the machine's own store to the new file `path`, which is to be the store
/// of installed classes beside the modules. ERROR_FILE_EXISTS if there is a file already. The path
/// of a class's module or of a type library is cut to the bare file name, because installed modules
/// are found beside that store wherever the tree is moved.
LSTATUS saveInstalledClasses(const WCHAR* path) noexcept;

#pragma GCC visibility pop
