#include "directory/CDeviceUtilFunctions.h"

#include <gmock/gmock.h>

#include "interfaces/IDriveMapper.h"
#include "tests/directory/SettingsFixture.h"

namespace zlk::test {
namespace {

class CDeviceUtilFunctionsTest : public SettingsFixture {
  protected:
    CDeviceUtilFunctions utils;
};

/// A question and its answer.
struct Case {
    std::u16string id;
    const WCHAR* answer;
};

const std::u16string cam947 = u"#Zephyr-Lanthorn#Cam947#0000";
const std::u16string card = u"#Zephyr-Lanthorn#RemovableDrive#";

TEST_F(CDeviceUtilFunctionsTest, ReadsUsbIdsOutOfAnyText) {
    using Ids = std::pair<int, int>;
    for (const auto& [text, ids] : {std::pair{u"VID_5AF1&PID_7C36", Ids(0x5AF1, 0x7C36)},
                                    {u"usb\\vid_5af1&pid_7c36&rev_0100", Ids(0x5AF1, 0x7C36)},
                                    {u"VID_5AF1-PID_7C36", Ids(0x5AF1, 0)},
                                    {u"PID_7C36", Ids()},
                                    {u"VID_5AF", Ids()},
                                    {u"VID_+AF1&PID_ 123", Ids()},
                                    {u"VID_&PID_", Ids()},
                                    {u"", Ids()}})
        EXPECT_EQ(Ids(utils.VidFromDeviceId(text), utils.PidFromDeviceId(text)), ids);
}

TEST_F(CDeviceUtilFunctionsTest, ReadsPortNumbers) {
    for (const auto& [port, number] : {std::pair{u"\\\\.\\Usbscan12", 12},
                                       {u"\\\\.\\usbscan", 0},
                                       {u"USBSCAN USBSCAN 7 a", 7},
                                       {u"\\\\.\\Usbscan-1", -1},
                                       {u"\\\\.\\Usb1", -1},
                                       {u"", -1}})
        EXPECT_EQ(utils.PortNumberFromPort(port), number);
}

TEST_F(CDeviceUtilFunctionsTest, TurnsDriveIdsIntoRoots) {
    for (const Case& c :
         {Case{card + u"E", u"E:\\"}, Case{u"#zephyr-lanthorn#removabledrive#e", u"E:\\"},
          Case{u"#Zephyr-Lanthorn#CDROMDrive#F", u"F:\\"}, Case{card + u"E1", u"E:\\"},
          Case{card + u"%%%%FILER%%Cards", u"\\\\FILER\\CARDS"}, Case{card + u"%%%a", u"\\%A"},
          Case{u"#Zephyr-Lanthorn#CDROMDrive#1", u""}, Case{card, u""}, Case{cam947, u""},
          Case{card + u"\u00c4", u""}, Case{u"#Other#RemovableDrive#E", u""}, Case{u"", u""}})
        EXPECT_EQ(utils.ContextIdToLowLevelId(c.id), c.answer);
    EXPECT_EQ(utils.ContextIdToLowLevelId(card + std::u16string(10000, u'x')).size(), 10000u);
}

TEST_F(CDeviceUtilFunctionsTest, KnowsAVolumeByItsVendorAndProduct) {
    mount(u'F', u"CARD", u"Acme", u"Reader");
    mount(u'G', u"", u" zl ", u"Usb Camera ");
    mount(u'H', u"DISC", u"ZL", u"USB CAMERA", true);
    EXPECT_EQ(utils.VolumeToContextId(u"G:\\"), cam947);
    EXPECT_EQ(utils.DriveToContextId(u"G"), cam947);
    EXPECT_EQ(utils.ContextIdToLowLevelId(u"#ZEPHYR-LANTHORN#CAM947#0000"), u"G:\\");
    EXPECT_TRUE(utils.IsContextIdUnloadable(cam947));
    for (const WCHAR* drive : {u"F:\\", u"H:\\", u"Y:\\", u"\\", u"1:\\", u""})
        EXPECT_EQ(utils.VolumeToContextId(drive), u"");

    install(u"CAM947", u"0000");  // the tree's spelling wins
    EXPECT_EQ(utils.VolumeToContextId(u"G:\\"), u"#Zephyr-Lanthorn#CAM947#0000");
    EXPECT_EQ(utils.CameraVidPidToContextId(u"vid_5af1&pid_7c36"), u"#Zephyr-Lanthorn#Cam539#0000");
    EXPECT_EQ(utils.CameraVidPidToContextId(u"VID_5AF1-PID_7C36"), u"");
    EXPECT_EQ(utils.ContextIdToLowLevelId(u"#Zephyr-Lanthorn#Cam539#0000"), u"");
    EXPECT_FALSE(utils.IsContextIdUnloadable(u"#Zephyr-Lanthorn#Cam539#0000"));
}

TEST_F(CDeviceUtilFunctionsTest, AsksTheDriveMapperForTheRest) {
    for (const WCHAR* number : {u"1", u"2", u"3"}) install(u"Reader", number);
    EXPECT_EQ(utils.ContextIdToDriveLetter(u"#Zephyr-Lanthorn#Reader#1"), u"") << "no mapper";

    registerFake(driveMapperProgId, clsidFakeMapper);
    tell(fakeDrivesKey, u"#Zephyr-Lanthorn#Reader#1", u"E:\\DCIM");
    tell(fakeDrivesKey, u"#Zephyr-Lanthorn#Reader#2", u"E");
    tell(fakeDrivesKey, u"#Zephyr-Lanthorn#Reader#3", u"\\\\VIDEOS\\CARDS");
    EXPECT_EQ(utils.ContextIdToLowLevelId(u"#zephyr-lanthorn#READER#1"), u"E:\\");
    EXPECT_EQ(utils.DriveToContextId(u"E:\\"), u"#Zephyr-Lanthorn#Reader#2");
    EXPECT_EQ(utils.DriveToContextId(u"e"), u"");
    EXPECT_EQ(utils.DriveToContextId(u""), u"");
    EXPECT_EQ(utils.ContextIdToLowLevelId(u"#Zephyr-Lanthorn#Reader#3"), u"\\\\VIDEOS\\CARDS");
    EXPECT_TRUE(utils.IsContextIdUnloadable(u"#Zephyr-Lanthorn#Reader#1"));
    EXPECT_FALSE(utils.IsContextIdUnloadable(u"#Zephyr-Lanthorn#Reader#3"))
        << "a VID inside of it makes it the id of a device behind another";
    EXPECT_EQ(utils.ContextIdToDriveLetter(u"#refused"), u"");
}

TEST_F(CDeviceUtilFunctionsTest, ChoosesTheClassThatWorksOnADevice) {
    put(u"Import\\ProductClasses\\Own", u"ProgId", u"Own.Device");
    put(u"Stored\\DeviceInstances\\1\\Functions\\Storage", u"UNCPath", u"\\\\A\\B");
    for (const Case& c :
         {Case{u"#a#Own#1", u"Own.Device"}, Case{u"#a#Stored#1", defaultDeviceProgId},
          Case{u"#a#Stored#2", u""}, Case{cam947, defaultDeviceProgId},
          Case{u"#Zephyr-Lanthorn#Cam947#0001", u""},
          Case{u"#zephyr-lanthorn#cdromdrive#", defaultDeviceProgId}, Case{u"", u""}})
        EXPECT_EQ(utils.ContextIdToUnloadInterface(c.id), c.answer);
}

TEST_F(CDeviceUtilFunctionsTest, NamesWhatItCan) {
    mount(u'E', u"WEDDING");
    put(u"Cam947\\DeviceInstances\\0000\\Strings", u"FriendlyName", u"0,My camera");
    for (const Case& c :
         {Case{cam947, u"My camera"}, Case{card + u"E", u"WEDDING (E:)"},
          Case{card + u"e", u"WEDDING (e:)"}, Case{card + u"Y", u"Y:\\"}, Case{card, u""},
          Case{card + u"x.y%%z", u"x.y\\z"}, Case{u"#a#b#c", u""}, Case{u"", u""}})
        EXPECT_EQ(utils.ContextIdToName(c.id), c.answer);
}

}  // namespace
}  // namespace zlk::test
