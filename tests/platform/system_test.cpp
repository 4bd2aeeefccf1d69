#include "platform/system.h"

#include <signal.h>
#include <unistd.h>

#include <climits>

#include "tests/platform/registry_support.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TestMachine.h"

namespace zlk::test {
namespace {

TEST(System, IsOneOfTwoByItsSettings) {
    const RegistryKey key = createKey(HKEY_LOCAL_MACHINE, u"Software\\Zephyr-Lanthorn\\Platform");
    const auto version = [&](const std::u16string& setting) {
        if (!setting.empty()) setText(key.get(), u"SystemVersion", setting);
        OSVERSIONINFOW info{};
        info.dwOSVersionInfoSize = sizeof info;
        EXPECT_TRUE(GetVersionExW(&info));
        EXPECT_EQ(info.dwPlatformId, VER_PLATFORM_WIN32_NT);
        return std::pair(info.dwMajorVersion, info.dwMinorVersion);
    };
    EXPECT_EQ(version(u""), std::pair(5u, 1u));
    EXPECT_EQ(version(u"6.0"), std::pair(6u, 0u));
    EXPECT_EQ(version(u"6.0 and a text that is too long"), std::pair(5u, 1u));
    setBytes(key.get(), u"SystemVersion", {'6', 0, '.', 0, '0', 0, 0, 0});
    EXPECT_EQ(version(u""), std::pair(5u, 1u)) << "not a text";

    OSVERSIONINFOW wrong{};
    wrong.dwOSVersionInfoSize = sizeof wrong - 1;
    EXPECT_EQ(errorOf(GetVersionExW(&wrong)), ERROR_INSUFFICIENT_BUFFER);
}

TEST(System, MulDivRoundsToTheNearest) {
    EXPECT_EQ(MulDiv(2, 100, 3), 67);
    EXPECT_EQ(MulDiv(1, 1, 2), 1);
    EXPECT_EQ(MulDiv(1, 1, -2), -1);
    EXPECT_EQ(MulDiv(INT_MIN, INT_MIN, INT_MIN), INT_MIN);
    EXPECT_EQ(MulDiv(INT_MAX, 2, 1), -1);
    EXPECT_EQ(MulDiv(1, 1, 0), -1);
}

TEST(System, MessageBoxSaysItsTextOnOneLine) {
    testing::internal::CaptureStderr();
    EXPECT_EQ(MessageBoxW(nullptr, u"first\r\nsecond", u"Caption", MB_OK), IDOK);
    EXPECT_EQ(MessageBoxW(nullptr, nullptr, nullptr, MB_OK), IDOK);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Caption: first  second\n: \n");
    const auto withoutReader = [] {
        int ends[2];
        if (pipe(ends) != 0 || dup2(ends[1], STDERR_FILENO) < 0 || close(ends[0]) != 0) return 1;
        signal(SIGPIPE, SIG_DFL);
        return MessageBoxW(nullptr, u"text", u"Caption", MB_OK) == IDOK ? 0 : 2;
    };
    EXPECT_EQ(forked(withoutReader), 0);
}

}  // namespace
}  // namespace zlk::test
