#include "platform/system.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

#include "platform/error.h"
#include "platform/registry.h"

namespace {

TEST(System, IsOneOfTwoByItsSettings) {
    const auto version = [] {
        OSVERSIONINFOW info{};
        info.dwOSVersionInfoSize = sizeof info;
        EXPECT_TRUE(GetVersionExW(&info));
        EXPECT_EQ(info.dwPlatformId, VER_PLATFORM_WIN32_NT);
        OSVERSIONINFOA narrow{};
        narrow.dwOSVersionInfoSize = sizeof narrow;
        EXPECT_TRUE(GetVersionExA(&narrow));
        EXPECT_EQ(narrow.dwMajorVersion, info.dwMajorVersion);
        return std::pair(info.dwMajorVersion, info.dwMinorVersion);
    };
    EXPECT_EQ(version(), std::pair(5u, 1u));

    HKEY opened = nullptr;
    ASSERT_EQ(
        RegCreateKeyExW(HKEY_LOCAL_MACHINE, u"Software\\Zephyr-Lanthorn\\Platform", 0, nullptr,
                        REG_OPTION_NON_VOLATILE, KEY_WRITE, nullptr, &opened, nullptr),
        ERROR_SUCCESS);
    const zlk::RegistryKey key(opened);
    const auto set = [&](DWORD type, const std::u16string& value) {
        EXPECT_EQ(RegSetValueExW(key.get(), u"SystemVersion", 0, type,
                                 reinterpret_cast<const BYTE*>(value.c_str()),
                                 static_cast<DWORD>(2 * value.size() + 2)),
                  ERROR_SUCCESS);
    };
    set(REG_SZ, u"6.0");
    EXPECT_EQ(version(), std::pair(6u, 0u));
    set(REG_BINARY, u"6.0");
    EXPECT_EQ(version(), std::pair(5u, 1u));
    set(REG_SZ, u"6.0 and a text that is too long");
    EXPECT_EQ(version(), std::pair(5u, 1u));
    set(REG_SZ, u"");
    EXPECT_EQ(version(), std::pair(5u, 1u));

    OSVERSIONINFOW wrong{};
    wrong.dwOSVersionInfoSize = sizeof(OSVERSIONINFOA);
    EXPECT_FALSE(GetVersionExW(&wrong));
    EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
}

TEST(System, MulDivRoundsToTheNearest) {
    EXPECT_EQ(MulDiv(1, 100, 3), 33);
    EXPECT_EQ(MulDiv(2, 100, 3), 67);
    EXPECT_EQ(MulDiv(1, 1, 2), 1);
    EXPECT_EQ(MulDiv(-1, 1, 2), -1);
    EXPECT_EQ(MulDiv(1, 1, -2), -1);
    EXPECT_EQ(MulDiv(INT_MAX, INT_MAX, INT_MAX), INT_MAX);
    EXPECT_EQ(MulDiv(INT_MIN, INT_MIN, INT_MIN), INT_MIN);
    EXPECT_EQ(MulDiv(INT_MAX, 2, 1), -1);
    EXPECT_EQ(MulDiv(1, 1, 0), -1);
}

TEST(System, MessageBoxSaysItsTextOnOneLine) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(MessageBoxW(nullptr, u"first\r\nsecond", u"Caption", MB_OK), IDOK);
    EXPECT_EQ(MessageBoxW(nullptr, nullptr, nullptr, MB_OK), IDOK);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Caption: first  second\n: \n");
}

}  // namespace
