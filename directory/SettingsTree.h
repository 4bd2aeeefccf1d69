#pragma once
// Where the system's settings are, and how their keys are opened.

#include <initializer_list>
#include <string_view>

#include "foundation/Registry.h"

namespace zlk {

/// A key below HKEY_LOCAL_MACHINE. It has a subkey for each product class, and the sections
/// `Import`, `Unload`, `SwiftPost`, `TagMgrDevices` and `CtxMgr`.
inline constexpr WCHAR settingsBaseKey[] = u"Software\\Zephyr-Lanthorn\\PictureSuite";

/// Opens the key below settingsBaseKey to which these names lead, for reading. Empty if there is
/// none. A backslash in a name leads a level deeper, and no key has a path with an empty name in
/// it.
RegistryKey openSettings(std::initializer_list<std::u16string_view> names);

/// Opens the key for writing, and makes it if it is missing. Empty on failure.
RegistryKey createSettings(std::initializer_list<std::u16string_view> names);

}  // namespace zlk
