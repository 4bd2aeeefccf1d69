#pragma once
// Where the settings lie, and the one way into them with names that come from outside.

#include <initializer_list>
#include <string_view>

#include "foundation/Registry.h"

namespace zlk {

/// Below HKEY_LOCAL_MACHINE. The product classes stand side by side in it with the sections
/// `Import`, `Unload`, `SwiftPost`, `TagMgrDevices` and `CtxMgr`.
inline constexpr WCHAR settingsBaseKey[] = u"Software\\Zephyr-Lanthorn\\PictureSuite";

/// Whether a text from outside can be the name of one key or value: one that is empty or holds a
/// backslash or a zero would lead to another place than its own.
bool isSettingsName(std::u16string_view name);

/// Opens the key that `names` lead to, one key a name; empty if one of them can't be a name.
RegistryKey openSettings(std::initializer_list<std::u16string_view> names);

/// The same, with write access, making what is missing.
RegistryKey createSettings(std::initializer_list<std::u16string_view> names);

}  // namespace zlk
