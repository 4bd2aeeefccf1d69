#include "platform/registry.h"

#include <algorithm>
#include <optional>
#include <string>

#include "platform/base/WithoutExceptions.h"
#include "platform/settings/RegistryKeys.h"

using zlk::platform::maxRegistryData;
using zlk::platform::maxRegistryValueName;
using zlk::platform::RegistryFailure;
using zlk::platform::RegistryKeys;
using zlk::platform::RegistryName;
using zlk::platform::RegistryNames;
using zlk::platform::RegistryValue;
using zlk::platform::RegistryValues;

namespace {

void require(bool condition) {
    if (!condition) throw RegistryFailure{ERROR_INVALID_PARAMETER};
}

// No value has a name beyond the limit. Setting such a name is an invalid parameter; reading or
// deleting it finds nothing.
RegistryName valueName(const WCHAR* name, DWORD errorIfTooLong) {
    const std::u16string_view text = name ? name : u"";
    if (text.size() > maxRegistryValueName) throw RegistryFailure{errorIfTooLong};
    return RegistryName::of(text);
}

LSTATUS setValue(HKEY key, const WCHAR* name, DWORD reserved, DWORD type, const BYTE* data,
                 DWORD size, bool anew) noexcept {
    return RegistryKeys::run([&](RegistryKeys& keys) {
        require(!reserved && (data || !size) && size <= maxRegistryData);
        keys.setValue(key, valueName(name, ERROR_INVALID_PARAMETER), type, {data, size}, anew);
    });
}

/// Gives a value's type, size and data to a caller, who may want only some of them.
void giveValue(const RegistryValue& value, DWORD* type, BYTE* data, DWORD* size) {
    if (type) *type = value.type;
    const DWORD room = size ? *size : 0;
    if (size) *size = value.size;
    if (!data) return;
    if (room < value.size) throw RegistryFailure{ERROR_MORE_DATA};
    std::copy(value.data->begin(), value.data->end(), data);
}

// Copies a name with its terminator; *length holds the room and receives the length without it.
void giveName(const std::u16string& name, WCHAR* buffer, DWORD* length) {
    if (name.size() >= *length) throw RegistryFailure{ERROR_MORE_DATA};
    std::copy(name.begin(), name.end(), buffer);
    buffer[name.size()] = 0;
    *length = static_cast<DWORD>(name.size());
}

DWORD longestName(const RegistryNames& names) {
    std::size_t longest = 0;
    for (const RegistryName& name : names) longest = std::max(longest, name.name.size());
    return static_cast<DWORD>(longest);
}

}  // namespace

LSTATUS RegOpenKeyExW(HKEY key, const WCHAR* subKey, DWORD options, DWORD access,
                      HKEY* result) noexcept {
    if (!result) return ERROR_INVALID_PARAMETER;
    *result = nullptr;
    return RegistryKeys::run([&](RegistryKeys& keys) {
        require(options == 0);
        *result = keys.open(key, subKey, access);
    });
}

LSTATUS RegCreateKeyExW(HKEY key, const WCHAR* subKey, DWORD reserved, WCHAR* className,
                        DWORD options, DWORD access, const SECURITY_ATTRIBUTES* security,
                        HKEY* result, DWORD* disposition) noexcept {
    if (!result) return ERROR_INVALID_PARAMETER;
    *result = nullptr;
    return RegistryKeys::run([&](RegistryKeys& keys) {
        require(!reserved && !className && !security && options == REG_OPTION_NON_VOLATILE);
        bool made = false;
        *result = keys.create(key, subKey, access, made);
        if (disposition) *disposition = made ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
    });
}

LSTATUS RegQueryValueExW(HKEY key, const WCHAR* name, DWORD* reserved, DWORD* type, BYTE* data,
                         DWORD* size) noexcept {
    return RegistryKeys::run([&](RegistryKeys& keys) {
        require(!reserved && (size || !data));
        RegistryKeys::View view = keys.view(key);
        const RegistryValue* value = view.value(valueName(name, ERROR_FILE_NOT_FOUND).folded);
        if (!value) throw RegistryFailure{ERROR_FILE_NOT_FOUND};
        giveValue(*value, type, data, size);
    });
}

LSTATUS RegSetValueExW(HKEY key, const WCHAR* name, DWORD reserved, DWORD type, const BYTE* data,
                       DWORD size) noexcept {
    return setValue(key, name, reserved, type, data, size, false);
}

LSTATUS setValueAnew(HKEY key, const WCHAR* name, DWORD reserved, DWORD type, const BYTE* data,
                     DWORD size) noexcept {
    return setValue(key, name, reserved, type, data, size, true);
}

LSTATUS RegDeleteValueW(HKEY key, const WCHAR* name) noexcept {
    return RegistryKeys::run(
        [&](RegistryKeys& keys) { keys.deleteValue(key, valueName(name, ERROR_FILE_NOT_FOUND)); });
}

LSTATUS RegDeleteTreeW(HKEY key, const WCHAR* subKey) noexcept {
    return RegistryKeys::run([&](RegistryKeys& keys) { keys.deleteTree(key, subKey); });
}

LSTATUS RegEnumKeyExW(HKEY key, DWORD index, WCHAR* name, DWORD* length, DWORD* reserved,
                      WCHAR* className, DWORD* classLength, FILETIME* lastWrite) noexcept {
    return RegistryKeys::run([&](RegistryKeys& keys) {
        require(name && length && !reserved && !className && !classLength && !lastWrite);
        RegistryKeys::View view = keys.view(key);
        const RegistryNames& names = view.subKeys();
        if (index >= names.size()) throw RegistryFailure{ERROR_NO_MORE_ITEMS};
        giveName(names[index].name, name, length);
    });
}

LSTATUS RegEnumValueW(HKEY key, DWORD index, WCHAR* name, DWORD* length, DWORD* reserved,
                      DWORD* type, BYTE* data, DWORD* size) noexcept {
    return RegistryKeys::run([&](RegistryKeys& keys) {
        require(name && length && !reserved && (size || !data));
        RegistryKeys::View view = keys.view(key);
        const RegistryValues& values = view.values();
        if (index >= values.size()) throw RegistryFailure{ERROR_NO_MORE_ITEMS};
        const RegistryValue* value = &values[index];
        // The list lacks the data of large values. If the value has been deleted meanwhile, the
        // caller's enumeration ends.
        if (data) value = view.value(value->name.folded);
        if (!value) throw RegistryFailure{ERROR_NO_MORE_ITEMS};
        giveName(value->name.name, name, length);
        giveValue(*value, type, data, size);
    });
}

LSTATUS RegQueryInfoKeyW(HKEY key, WCHAR* className, DWORD* classLength, DWORD* reserved,
                         DWORD* subKeys, DWORD* maxSubKeyLength, DWORD* maxClassLength,
                         DWORD* values, DWORD* maxValueNameLength, DWORD* maxValueSize,
                         DWORD* securitySize, FILETIME* lastWrite) noexcept {
    return RegistryKeys::run([&](RegistryKeys& keys) {
        require(!className && !classLength && !reserved && !maxClassLength && !securitySize &&
                !lastWrite);
        RegistryKeys::View view = keys.view(key);
        if (subKeys || maxSubKeyLength) {
            const RegistryNames& names = view.subKeys();
            if (subKeys) *subKeys = static_cast<DWORD>(names.size());
            if (maxSubKeyLength) *maxSubKeyLength = longestName(names);
        }
        const RegistryValues& all = view.values();
        if (values) *values = static_cast<DWORD>(all.size());
        DWORD nameLength = 0, size = 0;
        for (const RegistryValue& value : all) {
            nameLength = std::max(nameLength, static_cast<DWORD>(value.name.name.size()));
            size = std::max(size, value.size);
        }
        if (maxValueNameLength) *maxValueNameLength = nameLength;
        if (maxValueSize) *maxValueSize = size;
    });
}

LSTATUS RegCloseKey(HKEY key) noexcept {
    return RegistryKeys::run([&](RegistryKeys& keys) { keys.close(key); });
}
