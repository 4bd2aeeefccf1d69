#pragma once
#include <string>

#include "tests/directory/SettingsFixture.h"
#include "tests/directory/fakes/Fakes.h"

namespace zlk::test {

/// With the module of fakes: none of its classes is registered at the start.
class FakesFixture : public SettingsFixture {
  protected:
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
