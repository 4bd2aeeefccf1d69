#pragma once
// Settings and cards for the tests of the directory; a new machine has none of either.

#include <gtest/gtest.h>

#include <string>

#include "directory/SettingsTree.h"
#include "foundation/Registry.h"
#include "platform/volumes.h"
#include "tests/support/TestMachine.h"

namespace zlk::test {

class SettingsFixture : public testing::Test {
  protected:
    /// A text of the settings tree; `path` is below its base key.
    static void put(const std::u16string& path, const std::u16string& name,
                    const std::u16string& text) {
        ASSERT_TRUE(regWriteString(makeKey(path).get(), name, text));
    }
    static void put(const std::u16string& path, const std::u16string& name, DWORD number) {
        ASSERT_EQ(RegSetValueExW(makeKey(path).get(), name.c_str(), 0, REG_DWORD,
                                 reinterpret_cast<const BYTE*>(&number), sizeof number),
                  ERROR_SUCCESS);
    }
    static RegistryKey makeKey(const std::u16string& path) {
        return regCreateKey(HKEY_LOCAL_MACHINE, std::u16string(settingsBaseKey) + u"\\" + path,
                            KEY_ALL_ACCESS);
    }
    /// An instance of an installed product class.
    static void install(const std::u16string& productClass, const std::u16string& instance) {
        makeKey(productClass + u"\\DeviceInstances\\" + instance);
        put(u"CtxMgr\\ProductClasses", productClass, u"*Installed*");
    }

    static std::filesystem::path mount(WCHAR letter, const std::u16string& label,
                                       const std::u16string& vendor = u"",
                                       const std::u16string& product = u"", bool cdrom = false) {
        const auto folder = newFolder();
        CardMount card{pathText(folder), letter, label, vendor, product, cdrom};
        EXPECT_TRUE(mountCard(card)) << GetLastError();
        return folder;
    }
};

}  // namespace zlk::test
