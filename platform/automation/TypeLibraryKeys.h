#pragma once
// The keys of HKEY_CLASSES_ROOT by which type libraries are registered:
//
//     TypeLib\<id>\<version>                  the library's help string
//         <locale>\win64 (or win32)           the path, as LoadTypeLib takes it
//         FLAGS, HELPDIR
//     Interface\<interface id>                the interface's name
//         TypeLib                             the library's id, and its Version
//
// Versions and locales are hexadecimal, such as 1.0 and 409.

#include <string>

#include "platform/type_library.h"

namespace zlk::platform {

/// The kind of system whose modules this process loads.
inline constexpr SYSKIND ownSystem = sizeof(void*) == 8 ? SYS_WIN64 : SYS_WIN32;

/// What a library is registered under.
struct TypeLibraryName {
    GUID id;
    WORD majorVersion, minorVersion;
    DWORD locale;
};

/// Finds the path of a registered library, in the wanted locale or else in any that is registered.
/// Fails with TYPE_E_LIBNOTREGISTERED, or with the HRESULT of a registry that can't be read.
HRESULT findTypeLibrary(const TypeLibraryName& name, std::u16string& path);

/// The bodies of RegisterTypeLib and UnRegisterTypeLib.
HRESULT writeTypeLibraryKeys(ITypeLib& library, const std::u16string& path,
                             const std::u16string& helpFolder);
HRESULT removeTypeLibraryKeys(const TypeLibraryName& name, SYSKIND kind);

}  // namespace zlk::platform
