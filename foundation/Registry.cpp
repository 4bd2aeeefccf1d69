#include "foundation/Registry.h"

#include <iterator>
#include <string_view>

namespace zlk {
namespace {

constexpr std::size_t longestName = 300;
constexpr std::size_t stringRoom = 150;  // units of a value that is read, terminator included
constexpr std::size_t longestWritten = 499;

/// The platform would end a name at its first zero, and so find another key or value.
bool isName(const std::u16string& name) {
    return name.find(u'\0') == std::u16string::npos;
}

/// The body of both writing functions, which differ in the platform call.
bool writeString(decltype(RegSetValueExW)& set, HKEY key, const std::u16string& name,
                 const std::u16string& value) {
    if (!key || !isName(name) || value.size() > longestWritten) return false;
    const auto size = static_cast<DWORD>((value.size() + 1) * sizeof(WCHAR));
    return set(key, name.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()), size) ==
           ERROR_SUCCESS;
}

}  // namespace

RegistryKey regOpenKey(HKEY parent, const std::u16string& name, DWORD access) {
    HKEY key = nullptr;
    if (!parent || !isName(name) || RegOpenKeyExW(parent, name.c_str(), 0, access, &key))
        return RegistryKey();
    return RegistryKey(key);
}

RegistryKey regCreateKey(HKEY parent, const std::u16string& name, DWORD access) {
    HKEY key = nullptr;
    if (!parent || !isName(name) ||
        RegCreateKeyExW(parent, name.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE, access, nullptr,
                        &key, nullptr))
        return RegistryKey();
    return RegistryKey(key);
}

std::uint32_t regCountSubKeys(HKEY key) {
    DWORD count = 0;
    if (!key || RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, &count, nullptr, nullptr, nullptr,
                                 nullptr, nullptr, nullptr, nullptr))
        return 0;
    return count;
}

std::uint32_t regCountValues(HKEY key) {
    DWORD count = 0;
    if (!key || RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &count,
                                 nullptr, nullptr, nullptr, nullptr))
        return 0;
    return count;
}

std::u16string regEnumKeyName(HKEY key, std::uint32_t index) {
    // A name that doesn't fit makes the call fail, and so counts as missing.
    WCHAR name[longestName + 1];
    DWORD length = std::size(name);
    if (!key || RegEnumKeyExW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr))
        return {};
    return {name, length};
}

std::u16string regEnumValueName(HKEY key, std::uint32_t index) {
    WCHAR name[longestName + 1];
    DWORD length = std::size(name);
    if (!key || RegEnumValueW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr))
        return {};
    return {name, length};
}

bool regReadDword(HKEY key, const std::u16string& name, std::uint32_t& value) {
    DWORD type = REG_NONE;
    DWORD number = 0;
    DWORD size = sizeof number;
    if (!key || !isName(name) ||
        RegQueryValueExW(key, name.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(&number),
                         &size) ||
        type != REG_DWORD || size != sizeof number)
        return false;
    value = number;
    return true;
}

bool regReadString(HKEY key, const std::u16string& name, std::u16string& value) {
    value.clear();
    DWORD type = REG_NONE;
    WCHAR text[stringRoom];
    DWORD size = sizeof text;
    if (!key || !isName(name) ||
        RegQueryValueExW(key, name.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(text), &size) ||
        type != REG_SZ)
        return false;
    // Other programs may have stored the text without a terminator, or with several.
    const std::u16string_view units(text, size / sizeof(WCHAR));
    const std::u16string_view found = units.substr(0, units.find(u'\0'));
    if (found.size() == stringRoom) return false;
    value = found;
    return true;
}

bool regWriteString(HKEY key, const std::u16string& name, const std::u16string& value) {
    return writeString(RegSetValueExW, key, name, value);
}

bool regWriteStringAnew(HKEY key, const std::u16string& name, const std::u16string& value) {
    return writeString(setValueAnew, key, name, value);
}

}  // namespace zlk
