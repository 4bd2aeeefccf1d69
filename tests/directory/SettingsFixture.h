#pragma once
// Settings, cards and fakes for the tests of the directory; a new machine has none of them.

#include <gtest/gtest.h>

#include <string>

#include "directory/SettingsTree.h"
#include "foundation/Registry.h"
#include "platform/card_mounts.h"
#include "tests/directory/fakes/Fakes.h"
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

    /// A camera that the settings know by its USB ids.
    static void putRow(const std::u16string& productClass, const std::u16string& pnpId,
                       const std::u16string& devType = u"Camera") {
        const std::u16string row = productClass + u"\\CamInfo";
        put(row, u"Cam_pnpID", pnpId);
        put(row, u"Cam_protocol", u"ptp");
        put(row, u"DevType", devType);
        put(row, u"FriendlyName", u"The " + productClass);
    }

    static std::filesystem::path mount(WCHAR letter, const std::u16string& label,
                                       const std::u16string& vendor = u"",
                                       const std::u16string& product = u"", bool cdrom = false) {
        const auto folder = newFolder();
        CardMount card{pathText(folder), letter, label, vendor, product, cdrom};
        EXPECT_TRUE(mountCard(card)) << GetLastError();
        return folder;
    }

    /// Makes a class of the module of fakes known by its ProgID.
    static void registerFake(const std::u16string& progId, const GUID& clsid) {
        WCHAR id[39];
        ASSERT_EQ(StringFromGUID2(clsid, id, 39), 39);
        const RegistryKey name =
            regCreateKey(HKEY_CLASSES_ROOT, progId + u"\\CLSID", KEY_ALL_ACCESS);
        const RegistryKey server =
            regCreateKey(HKEY_CLASSES_ROOT, u"CLSID\\" + std::u16string(id) + u"\\InprocServer32",
                         KEY_ALL_ACCESS);
        ASSERT_TRUE(regWriteString(name.get(), u"", id));
        ASSERT_TRUE(regWriteString(server.get(), u"", pathText(ZLK_FAKES)));
    }

    static void tell(const WCHAR* key, const std::u16string& name, const std::u16string& value) {
        ASSERT_TRUE(regWriteString(regCreateKey(HKEY_LOCAL_MACHINE, key, KEY_ALL_ACCESS).get(),
                                   name, value));
    }
    static std::u16string callsOfDevice() {
        const RegistryKey key = regCreateKey(HKEY_LOCAL_MACHINE, fakeDeviceKey, KEY_ALL_ACCESS);
        std::u16string calls;
        regReadString(key.get(), u"Calls", calls);
        RegDeleteValueW(key.get(), u"Calls");
        return calls;
    }
};

}  // namespace zlk::test
