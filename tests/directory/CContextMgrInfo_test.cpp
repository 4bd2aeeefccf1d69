#include "directory/CContextMgrInfo.h"

#include <gmock/gmock.h>

#include "directory/CDirectorInfo.h"
#include "tests/directory/SettingsFixture.h"
#include "tests/support/ChildProcess.h"

namespace zlk::test {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

const std::u16string cam539 = u"#Zephyr-Lanthorn#Cam539#0000";

class CContextMgrInfoTest : public SettingsFixture {
  protected:
    CContextMgrInfo settings;
};

TEST_F(CContextMgrInfoTest, SplitsIdsAtTheirFirstThreeMarks) {
    const std::u16string untouched = u"?|?|?";
    for (const auto& [id, parts] : {std::pair{cam539, u"Zephyr-Lanthorn|Cam539|0000"s},
                                    {u"##Cam539#0000", u"|Cam539|0000"},
                                    {u"x#a#b#c#d", u"a|b|c#d"},
                                    {u"###", u"||"},
                                    {u"#a#b", untouched},
                                    {u"", untouched}}) {
        std::u16string manufacturer = u"?", productClass = u"?", serial = u"?";
        EXPECT_EQ(settings.SplitContextId(id, manufacturer, productClass, serial),
                  parts != untouched);
        EXPECT_EQ(manufacturer + u"|" + productClass + u"|" + serial, parts);
    }
}

TEST_F(CContextMgrInfoTest, ReadsEachValueFromItsPlace) {
    put(u"Import\\ProductClasses", u"DevListProgId_v1", u"A.List");
    put(u"Import\\ProductClasses", u"DevUtilsProgId_v1", u"A.Utils");
    put(u"Import\\ProductClasses\\Cam539", u"ProgId", u"A.Device");
    put(u"Import\\ProductClasses\\Cam539", u"TSBProgId_v1", u"A.Tsb");
    put(u"SwiftPost\\ProductClasses\\Cam539", u"ProgId", u"A.Share");
    put(u"TagMgrDevices\\ProductClasses\\Cam539", u"ProgId", u"A.Tag");
    put(u"Import\\ProductClasses\\Cam539", u"MediaCheck", u"Aio");
    put(u"Import\\ProductClasses\\Cam539", u"FileEnumTimeout", DWORD{7});
    EXPECT_EQ(settings.GetDevListProgId(), u"A.List");
    EXPECT_EQ(settings.GetDevUtilsProgId(), u"A.Utils");
    EXPECT_EQ(settings.GetUnloadProgId(cam539), u"A.Device");
    EXPECT_EQ(settings.GetUnloadProgId(u"##CAM539#"), u"A.Device");
    EXPECT_EQ(settings.GetTSBProgId(cam539), u"A.Tsb");
    EXPECT_EQ(settings.GetSwiftPostProgId(cam539), u"A.Share");
    EXPECT_EQ(settings.GetTagProgId(cam539), u"A.Tag");
    EXPECT_EQ(settings.GetCheckMediaMethod(cam539), u"AIO");
    EXPECT_EQ(settings.GetFileEnumTimeout(cam539), 7u);
}

TEST_F(CContextMgrInfoTest, FallsBackToOlderSettingsByTheWholeClass) {
    put(u"Unload\\ProductClasses\\Old", u"AllowDelete", u" false ");
    put(u"Unload\\ProductClasses\\Old", u"FileEnumTimeout", DWORD{3});
    put(u"Unload\\ProductClasses\\Both", u"AllowDelete", u"FALSE");
    put(u"Unload\\ProductClasses\\Both", u"MediaCheck", u"AIO");
    makeKey(u"Import\\ProductClasses\\Both");
    put(u"Import\\ProductClasses\\Word", u"AllowDelete", u"NO");
    put(u"Import\\ProductClasses\\Word", u"FileEnumTimeout", u"9");
    EXPECT_FALSE(settings.GetAllowDelete(u"#a#Old#1"));
    EXPECT_EQ(settings.GetFileEnumTimeout(u"#a#Old#1"), 3u);
    EXPECT_TRUE(settings.GetAllowDelete(u"#a#Both#1"));
    EXPECT_EQ(settings.GetCheckMediaMethod(u"#a#Both#1"), u"");
    EXPECT_TRUE(settings.GetAllowDelete(u"#a#Word#1"));
    EXPECT_EQ(settings.GetFileEnumTimeout(u"#a#Word#1"), 0u);
}

TEST_F(CContextMgrInfoTest, KnowsAnInstancesNameAndStorage) {
    struct Case {
        const WCHAR *stored, *name;
    };
    for (const Case& c : {Case{u"0,Cam", u"Cam"}, Case{u"007,x", u"7,x"}, Case{u"0,,x", u"x"},
                          Case{u"Cam", u"Cam"}, Case{u"000,", u""}, Case{u"", u""}}) {
        put(u"Cam\\DeviceInstances\\A\\Strings", u"FriendlyName", c.stored);
        EXPECT_EQ(settings.GetFriendlyName(u"#m#Cam#A"), c.name);
    }
    const std::u16string storage = u"Cam\\DeviceInstances\\A\\Functions\\Storage";
    put(storage, u"UNCPath", u"\\\\FILER\\CARDS");
    EXPECT_EQ(settings.GetStorageId(u"#m#Cam#A"), u"\\\\FILER\\CARDS");
    put(storage, u"DeviceInstanceID", u"");
    EXPECT_EQ(settings.GetStorageId(u"#m#Cam#A"), u"\\\\FILER\\CARDS");
    put(storage, u"DeviceInstanceID", u"USBSTOR\\1");
    EXPECT_EQ(settings.GetStorageId(u"#m#Cam#A"), u"USBSTOR\\1");
    EXPECT_EQ(settings.GetStorageId(u"#m#Cam#B"), u"");
}

TEST_F(CContextMgrInfoTest, CountsAsInstalledWhatIsMarkedSo) {
    for (const auto& [name, mark] : {std::pair{u"B", u"*Installed*"},
                                     {u"A", u"Installed"},
                                     {u"C", u"***installed*"},
                                     {u"D", u"Installed soon"},
                                     {u"E", u""},
                                     {u"None", u"*Installed*"}})
        put(u"CtxMgr\\ProductClasses", name, mark);
    put(u"CtxMgr\\ProductClasses", u"Number", DWORD{1});
    for (const auto& [name, instance] :
         {std::pair{u"A", u"2"}, {u"B", u"x"}, {u"B", u"y"}, {u"D", u"z"}})
        makeKey(name + u"\\DeviceInstances\\"s + instance);
    EXPECT_THAT(settings.GetInstalledProductClasses(), ElementsAre(u"B", u"A", u"C", u"None"));
    EXPECT_THAT(settings.GetDeviceInstances(u"B"), ElementsAre(u"x", u"y"));
    EXPECT_THAT(settings.GetDeviceInstances(u""), IsEmpty());
    EXPECT_THAT(
        settings.GetInstalledContextIds(),
        ElementsAre(u"#Zephyr-Lanthorn#B#x", u"#Zephyr-Lanthorn#B#y", u"#Zephyr-Lanthorn#A#2"));
}

TEST_F(CContextMgrInfoTest, GivesNoSettingsToIdsThatAreNoNames) {
    // What such an id would find if a part of it counted for nothing.
    put(u"Import\\ProductClasses", u"ProgId", u"Wrong");
    put(u"Import\\ProductClasses", u"AllowDelete", u"FALSE");
    put(u"Import\\ProductClasses\\Cam", u"ProgId", u"Right");
    put(u"Cam\\DeviceInstances\\A\\Strings", u"FriendlyName", u"0,Right");
    put(u"DeviceInstances\\A\\Strings", u"FriendlyName", u"0,Wrong");
    put(u"Cam\\DeviceInstances\\Strings", u"FriendlyName", u"0,Wrong");
    for (const std::u16string& id : {u""s, u"#a#b"s, u"#a##"s, u"#a##A"s}) {
        EXPECT_EQ(settings.GetUnloadProgId(id), u"");
        EXPECT_EQ(settings.GetFriendlyName(id), u"");
    }
    for (const std::u16string& name :
         {u"\\Cam"s, u"Cam\\"s, u"Cam/Deeper"s, u"Cam\n"s, u".."s, u"Cam\\.."s,
          u"Cam\\DeviceInstances"s, u"Cam\0x"s, std::u16string(10000, u'C')}) {
        const std::u16string id = u"#a#" + name + u"#A";
        EXPECT_EQ(settings.GetUnloadProgId(id), u"");
        EXPECT_TRUE(settings.GetAllowDelete(id));
        EXPECT_EQ(settings.GetFriendlyName(id), u"");
    }
    for (const std::u16string& serial : {u""s, u"B"s, u"A\\.."s, u"A\0B"s})
        EXPECT_EQ(settings.GetFriendlyName(u"#a#Cam#" + serial), u"");
    EXPECT_EQ(settings.GetFriendlyName(u"#a#Cam#A"), u"Right");
}

TEST_F(CContextMgrInfoTest, GoesAsDeepAsANameWithABackslashLeads) {
    put(u"Import\\ProductClasses\\Cam\\Deeper", u"ProgId", u"Device");
    put(u"Unload\\ProductClasses\\Cam\\Older", u"AllowDelete", u"FALSE");
    put(u"Cam\\Deeper\\DeviceInstances\\A\\B\\Strings", u"FriendlyName", u"0,Name");
    EXPECT_EQ(settings.GetUnloadProgId(u"#a#Cam\\Deeper#A"), u"Device");
    EXPECT_FALSE(settings.GetAllowDelete(u"#a#Cam\\Older#A"));
    EXPECT_EQ(settings.GetFriendlyName(u"#a#Cam\\Deeper#A\\B"), u"Name");
    EXPECT_TRUE(CDirectorInfo().PutCameraEntry(u"#a#Cam\\Deeper#A", u"New"));
    EXPECT_THAT(settings.GetInstalledContextIds(), ElementsAre(u"#Zephyr-Lanthorn#Cam\\Deeper#0000",
                                                               u"#Zephyr-Lanthorn#Cam\\Deeper#A"));
}

TEST_F(CContextMgrInfoTest, SeesACameraOnceItsEntryIsWritten) {
    CDirectorInfo director;
    EXPECT_TRUE(director.PutCameraEntry(u"#Zephyr-Lanthorn#Cam539#77", u"0 to 9"));
    EXPECT_THAT(settings.GetInstalledContextIds(), ElementsAre(cam539));
    EXPECT_EQ(settings.GetFriendlyName(cam539), u"0 to 9");
    EXPECT_TRUE(director.PutCameraEntry(u"#Zephyr-Lanthorn#CAM539#0000", u"Other"));
    EXPECT_EQ(settings.GetFriendlyName(cam539), u"Other");
    EXPECT_THAT(settings.GetInstalledProductClasses(), ElementsAre(u"CAM539"));

    for (const std::u16string& id : {u"#a#b"s, u"#a##0000"s})
        EXPECT_FALSE(director.PutCameraEntry(id, u"x"));
    EXPECT_TRUE(director.PutCameraEntry(u"#a#CAM539\0x#0000"s, u"x"));  // no name of a key
    EXPECT_THAT(settings.GetInstalledProductClasses(), ElementsAre(u"CAM539"));
}

ZLK_CHILD(seesCamerasInTurn) {
    CDirectorInfo director;
    for (std::size_t i = 0;; i = (i + 1) % 3) {
        director.PutCameraEntry(u"#Zephyr-Lanthorn#Cam" + std::u16string(1, u'A' + i) + u"#0000",
                                u"x");
        if (i == 2) child.say("round");
    }
}

TEST_F(CContextMgrInfoTest, ListsACameraLastThatWasSeenLastAndNeverMissesOne) {
    CDirectorInfo director;
    for (const WCHAR* id : {u"#a#CamA#0", u"#a#CamB#0", u"#a#CamC#0", u"#a#CamA#0"})
        EXPECT_TRUE(director.PutCameraEntry(id, u"x"));
    EXPECT_THAT(settings.GetInstalledProductClasses(), ElementsAre(u"CamB", u"CamC", u"CamA"));
    ChildProcess other("seesCamerasInTurn");
    for (int round = 0; round < 200; ++round) {
        ASSERT_EQ(other.hear(), "round");
        for (int i = 0; i < 20; ++i)
            ASSERT_THAT(settings.GetInstalledProductClasses(),
                        UnorderedElementsAre(u"CamA", u"CamB", u"CamC"));
    }
}

}  // namespace
}  // namespace zlk::test
