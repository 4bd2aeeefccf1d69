#pragma once
// Where the system's settings are, and how their keys are opened.

#include <initializer_list>
#include <string_view>

#include "foundation/Registry.h"

namespace zlk {

/// Below HKEY_LOCAL_MACHINE. It has a key for each product class, beside the sections `Import`,
/// `Unload`, `SwiftPost`, `TagMgrDevices` and `CtxMgr`.
inline constexpr WCHAR settingsBaseKey[] = u"Software\\Zephyr-Lanthorn\\PictureSuite";

/// Opens the key to which these names lead, for reading; empty if there is none. A backslash in a
/// name leads a level deeper, and an empty name makes the path lead nowhere.
RegistryKey openSettings(std::initializer_list<std::u16string_view> names);

/// Opens the key for writing, and makes it if it is missing.
RegistryKey createSettings(std::initializer_list<std::u16string_view> names);

}  // namespace zlk
