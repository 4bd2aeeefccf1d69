#include "directory/CDeviceList.h"

#include <gmock/gmock.h>

#include "foundation/Xml.h"
#include "platform/text.h"
#include "tests/directory/SettingsFixture.h"
#include "tests/support/Modules.h"

namespace zlk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Getter = HRESULT (IDeviceList::*)(BSTR*);
constexpr Getter getters[] = {&IDeviceList::get_UnloadDevices, &IDeviceList::get_SwiftPostDevices,
                              &IDeviceList::get_TagDevices};

class CDeviceListTest : public SettingsFixture {
  protected:
    static ComPtr<IDeviceList> makeList() {
        ComPtr<IDeviceList> list;
        EXPECT_EQ(createObject<CDeviceList>(nullptr, iidOf<IDeviceList>,
                                            reinterpret_cast<void**>(list.out())),
                  S_OK);
        return list;
    }

    /// The document's entries as "name|context id|ProgID".
    static std::vector<std::u16string> devices(Getter getter) {
        Bstr text;
        EXPECT_EQ((makeList().get()->*getter)(text.out()), S_OK);
        std::u16string name, id, progId;
        XmlDocument document;
        EXPECT_TRUE(document.load(text.view()));
        EXPECT_TRUE(document.value(u"devices", name));
        std::vector<std::u16string> entries;
        for (;;) {
            const std::u16string device = formatText(u"devices/device[%d]/", entries.size());
            if (!document.value(device + u"friendlyName", name)) break;
            EXPECT_TRUE(document.value(device + u"contextId", id));
            EXPECT_TRUE(document.value(device + u"progId", progId));
            entries.push_back(name + u"|" + id + u"|" + progId);
        }
        return entries;
    }
};

TEST_F(CDeviceListTest, IsEmptyWhereThereIsNothing) {
    Bstr text;
    EXPECT_EQ(makeList()->get_UnloadDevices(text.out()), S_OK);
    EXPECT_EQ(text.view(), u"") << "no XML component yet";
    ASSERT_GT(registerModules(), 0);
    for (const Getter getter : getters) {
        EXPECT_THAT(devices(getter), IsEmpty());
        EXPECT_EQ((makeList().get()->*getter)(nullptr), E_POINTER);
    }
}

TEST_F(CDeviceListTest, ListsWhatCanBeUnloadedNow) {
    ASSERT_GT(registerModules(), 0);
    registerFake(u"ZLCUE.DriveMapper", clsidFakeMapper);
    install(u"Reader", u"1");
    install(u"Reader", u"2");  // on no drive
    install(u"Cam947", u"0000");
    install(u"Unknown", u"1");  // no class works on it
    put(u"Import\\ProductClasses\\Reader", u"ProgId", u"Own.Device");
    put(u"Reader\\DeviceInstances\\1\\Strings", u"FriendlyName", u"0,R & <D>\x01");
    tell(fakeDrivesKey, u"#Zephyr-Lanthorn#Reader#1", u"F:\\");
    tell(fakeDrivesKey, u"#Zephyr-Lanthorn#Unknown#1", u"E:\\");
    mount(u'E', u"KNOWN");  // the mapper has it
    mount(u'F', u"KNOWN");
    mount(u'G', u"CAMERA", u"ZL", u"USB CAMERA");
    mount(u'H', u"CARD");
    mount(u'I', u"DISC", u"ZL", u"USB CAMERA", true);
    const auto vanished = mount(u'J', u"GONE");
    std::filesystem::remove(vanished);
    EXPECT_THAT(devices(&IDeviceList::get_UnloadDevices),
                ElementsAre(u"R & <D>\uFFFD|#Zephyr-Lanthorn#Reader#1|Own.Device",
                            u"|#Zephyr-Lanthorn#Cam947#0000|ZlkCamTr.UnloadableCamera",
                            u"CARD (H:)|#Zephyr-Lanthorn#RemovableDrive#H|"
                            u"ZlkCamTr.UnloadableCamera",
                            u"DISC (I:)|#Zephyr-Lanthorn#CDROMDrive#I|"
                            u"ZlkCamTr.UnloadableCamera"));
}

TEST_F(CDeviceListTest, ListsShareAndTagDevicesByTheSettingsAlone) {
    ASSERT_GT(registerModules(), 0);
    mount(u'H', u"CARD");
    install(u"Cam283", u"0000");  // its row takes the share menu
    install(u"Cam283", u"0001");  // no row of that id
    install(u"Cam947", u"0000");
    install(u"Own", u"a");
    install(u"Own", u"b");
    put(u"SwiftPost\\ProductClasses\\Own", u"ProgId", u"Own.Share");
    put(u"TagMgrDevices\\ProductClasses\\Own", u"ProgId", u"Own.Tag");
    put(u"Own\\DeviceInstances\\a\\Strings", u"FriendlyName", u"0,A");
    EXPECT_THAT(
        devices(&IDeviceList::get_SwiftPostDevices),
        ElementsAre(u"|#Zephyr-Lanthorn#Cam283#0000|ZlkCamTr.SPostDevice",
                    u"A|#Zephyr-Lanthorn#Own#a|Own.Share", u"|#Zephyr-Lanthorn#Own#b|Own.Share"));
    EXPECT_THAT(
        devices(&IDeviceList::get_TagDevices),
        ElementsAre(u"A|#Zephyr-Lanthorn#Own#a|Own.Tag", u"|#Zephyr-Lanthorn#Own#b|Own.Tag"));
}

TEST_F(CDeviceListTest, ForwardsToTheDelegateThatTheSettingsName) {
    ASSERT_GT(registerModules(), 0);
    registerFake(u"Fake.List", clsidFakeList);
    registerFake(u"Fake.Utils", clsidFakeUtils);
    put(u"Import\\ProductClasses", u"DevListProgId_v1", u"Fake.List");
    Bstr text;
    for (const Getter getter : getters) {
        EXPECT_EQ((makeList().get()->*getter)(text.out()), S_FALSE);
        EXPECT_EQ(text.view(), u"delegate");
    }
    // Neither a class that isn't there nor one without the interface counts.
    for (const WCHAR* progId : {u"Fake.None", u"Fake.Utils"}) {
        put(u"Import\\ProductClasses", u"DevListProgId_v1", progId);
        EXPECT_THAT(devices(&IDeviceList::get_TagDevices), IsEmpty());
    }
    // The module of fakes answers for our own class id too: asking it would show.
    registerFake(u"Itself.List", CLSID_DeviceList);
    put(u"Import\\ProductClasses", u"DevListProgId_v1", u"Itself.List");
    EXPECT_EQ(makeList()->get_TagDevices(text.out()), S_OK);
}

}  // namespace
}  // namespace zlk::test
