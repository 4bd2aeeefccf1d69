#pragma once
// Short ways to the settings store, and what the platform says, for tests of both.

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/component.h"
#include "platform/diagnostics.h"
#include "platform/registry.h"
#include "platform/text.h"

namespace zlk::test {

using Bytes = std::vector<BYTE>;

inline constexpr WCHAR scene[] = u"Software\\Scene";

inline constexpr uid_t somebodyElse = 65534;

/// What the platform has said while keepLine is one of its sinks.
inline std::string said;
inline void keepLine(const char* category, const WCHAR* line) {
    said += std::string(category) + ": " + utf8Text(line) + "; ";
}

inline LSTATUS tryOpen(HKEY parent, const std::u16string& path) {
    HKEY key = nullptr;
    const LSTATUS result = RegOpenKeyExW(parent, path.c_str(), 0, KEY_READ, &key);
    if (key) RegCloseKey(key);
    return result;
}

inline RegistryKey openKey(HKEY parent, const std::u16string& path, DWORD access = KEY_READ) {
    HKEY key = nullptr;
    RegOpenKeyExW(parent, path.c_str(), 0, access, &key);
    return RegistryKey(key);
}

inline LSTATUS tryCreate(HKEY parent, const std::u16string& path, HKEY* result = nullptr) {
    HKEY key = nullptr;
    const LSTATUS error = RegCreateKeyExW(parent, path.c_str(), 0, nullptr, 0, KEY_ALL_ACCESS,
                                          nullptr, result ? result : &key, nullptr);
    if (key) RegCloseKey(key);
    return error;
}

inline RegistryKey createKey(HKEY parent, const std::u16string& path) {
    HKEY key = nullptr;
    EXPECT_EQ(tryCreate(parent, path, &key), ERROR_SUCCESS);
    return RegistryKey(key);
}

inline LSTATUS setBytes(HKEY key, const WCHAR* name, const Bytes& data, DWORD type = REG_BINARY) {
    return RegSetValueExW(key, name, 0, type, data.data(), static_cast<DWORD>(data.size()));
}

inline LSTATUS setText(HKEY key, const WCHAR* name, const std::u16string& text) {
    return RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(text.c_str()),
                          static_cast<DWORD>(text.size() + 1) * 2);
}

/// The text of an id, as keys of registrations have it.
inline std::u16string idText(const GUID& id) {
    WCHAR buffer[40];
    EXPECT_EQ(StringFromGUID2(id, buffer, 40), 39);
    return buffer;
}

struct Answer {
    LSTATUS result;
    DWORD type = 0;
    Bytes data;
    bool operator==(const Answer&) const = default;
};

inline Answer query(HKEY key, const WCHAR* name) {
    Answer answer{};
    DWORD size = 16 * 1024;
    do {
        answer.data.resize(size);
        answer.result =
            RegQueryValueExW(key, name, nullptr, &answer.type, answer.data.data(), &size);
    } while (answer.result == ERROR_MORE_DATA);
    answer.data.resize(answer.result ? 0 : size);
    return answer;
}

inline std::string text(HKEY key, const WCHAR* name) {
    const Answer answer = query(key, name);
    if (answer.result || answer.type != REG_SZ) return "<" + std::to_string(answer.result) + ">";
    std::u16string wide(answer.data.size() / 2, u'\0');
    std::memcpy(wide.data(), answer.data.data(), wide.size() * 2);
    return utf8Text(wide.substr(0, wide.find(u'\0')));
}

template <class Enumerate>
std::vector<std::string> namesBy(Enumerate enumerate, HKEY key) {
    std::vector<std::string> names;
    WCHAR name[256];
    for (DWORD length = 256; !enumerate(key, static_cast<DWORD>(names.size()), name, &length,
                                        nullptr, nullptr, nullptr, nullptr);
         length = 256)
        names.push_back(utf8Text({name, length}));
    return names;
}

inline std::vector<std::string> subKeys(HKEY key) {
    return namesBy(RegEnumKeyExW, key);
}

inline std::vector<std::string> valueNames(HKEY key) {
    return namesBy(RegEnumValueW, key);
}

}  // namespace zlk::test
