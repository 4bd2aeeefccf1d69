#include "directory/SettingsTree.h"

namespace zlk {
namespace {

std::u16string settingsPath(std::initializer_list<std::u16string_view> names) {
    std::u16string path = settingsBaseKey;
    for (const std::u16string_view name : names) path.append(u"\\").append(name);
    return path;
}

}  // namespace

RegistryKey openSettings(std::initializer_list<std::u16string_view> names) {
    return regOpenKey(HKEY_LOCAL_MACHINE, settingsPath(names), KEY_READ);
}

RegistryKey createSettings(std::initializer_list<std::u16string_view> names) {
    return regCreateKey(HKEY_LOCAL_MACHINE, settingsPath(names), KEY_ALL_ACCESS);
}

}  // namespace zlk
