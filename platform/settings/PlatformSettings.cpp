#include "platform/settings/PlatformSettings.h"

#include <array>

#include "platform/registry.h"

namespace zlk::platform {
namespace {

// Reads a value of the wanted type into `data`; `size` holds the room in bytes and receives the
// size of the value. False if there is no such value, no room for it, or it can't be read.
bool read(const WCHAR* name, DWORD wantedType, void* data, DWORD& size) {
    HKEY opened = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, u"Software\\Zephyr-Lanthorn\\Platform", 0,
                      KEY_QUERY_VALUE, &opened) != ERROR_SUCCESS)
        return false;
    const RegistryKey key(opened);
    DWORD type = REG_NONE;
    return RegQueryValueExW(key.get(), name, nullptr, &type, static_cast<BYTE*>(data), &size) ==
               ERROR_SUCCESS &&
           type == wantedType;
}

}  // namespace

std::u16string platformText(const WCHAR* name) {
    std::array<WCHAR, 1000> text{};
    DWORD size = sizeof text;
    if (!read(name, REG_SZ, text.data(), size)) return {};
    std::u16string value(text.data(), size / sizeof(WCHAR));
    if (value.ends_with(u'\0')) value.pop_back();
    return value;
}

DWORD platformNumber(const WCHAR* name, DWORD otherwise) {
    DWORD value = 0;
    DWORD size = sizeof value;
    return read(name, REG_DWORD, &value, size) && size == sizeof value ? value : otherwise;
}

}  // namespace zlk::platform
