#include "directory/SettingsTree.h"

namespace zlk {
namespace {

/// Empty if one of the names can't be a key's.
std::u16string settingsPath(std::initializer_list<std::u16string_view> names) {
    std::u16string path = settingsBaseKey;
    for (const std::u16string_view name : names) {
        if (!isSettingsName(name)) return {};
        path.append(u"\\").append(name);
    }
    return path;
}

}  // namespace

bool isSettingsName(std::u16string_view name) {
    constexpr std::u16string_view forbidden(u"\\\0", 2);
    return !name.empty() && name.find_first_of(forbidden) == std::u16string_view::npos;
}

RegistryKey openSettings(std::initializer_list<std::u16string_view> names) {
    const std::u16string path = settingsPath(names);
    return path.empty() ? RegistryKey() : regOpenKey(HKEY_LOCAL_MACHINE, path, KEY_READ);
}

RegistryKey createSettings(std::initializer_list<std::u16string_view> names) {
    const std::u16string path = settingsPath(names);
    return path.empty() ? RegistryKey() : regCreateKey(HKEY_LOCAL_MACHINE, path, KEY_ALL_ACCESS);
}

}  // namespace zlk
