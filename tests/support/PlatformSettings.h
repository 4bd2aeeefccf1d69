#pragma once
// The platform's own settings, as an administrator makes them.

#include <gtest/gtest.h>

#include <string>

#include "platform/registry.h"

namespace zlk::test {

inline void setPlatform(const WCHAR* name, DWORD type, const void* data, std::size_t size) {
    HKEY opened = nullptr;
    ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, u"Software\\Zephyr-Lanthorn\\Platform", 0,
                              nullptr, 0, KEY_WRITE, nullptr, &opened, nullptr),
              0);
    const RegistryKey key(opened);
    ASSERT_EQ(RegSetValueExW(key.get(), name, 0, type, static_cast<const BYTE*>(data),
                             static_cast<DWORD>(size)),
              0);
}
inline void setPlatform(const WCHAR* name, DWORD number) {
    setPlatform(name, REG_DWORD, &number, sizeof number);
}
inline void setPlatform(const WCHAR* name, const std::u16string& text) {
    setPlatform(name, REG_SZ, text.c_str(), (text.size() + 1) * sizeof(WCHAR));
}

/// The system whose driver knows cameras by their USB ids.
inline void setSecondFamily() {
    setPlatform(u"SystemVersion", u"6.0");
}

}  // namespace zlk::test
