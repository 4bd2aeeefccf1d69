#pragma once
// Where the settings lie, and the one way into them with names that come from outside.

#include <initializer_list>
#include <string_view>

#include "foundation/Registry.h"

namespace zlk {

/// Below HKEY_LOCAL_MACHINE. The product classes stand side by side in it with the sections
/// `Import`, `Unload`, `SwiftPost`, `TagMgrDevices` and `CtxMgr`.
inline constexpr WCHAR settingsBaseKey[] = u"Software\\Zephyr-Lanthorn\\PictureSuite";

/// Opens the key that `names` lead to; empty if there is none. A backslash in a name leads deeper,
/// and an empty name nowhere.
RegistryKey openSettings(std::initializer_list<std::u16string_view> names);

/// The same, with write access, making what is missing.
RegistryKey createSettings(std::initializer_list<std::u16string_view> names);

}  // namespace zlk
