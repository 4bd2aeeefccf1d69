// Cameras of other makers, which take the plain way no more than they have to.

#include "camera_devices/OtherMakersDriver.h"

#include "directory/SettingsTree.h"
#include "tests/camera_devices/PtpDevice.h"
#include "tests/usbscan/Camera.h"

namespace zlk::test {
namespace {

constexpr std::uint32_t pictureSize = 3000, largeSize = 21'000'000;

void setRow(const std::u16string& name, const std::u16string& value) {
    const RegistryKey row =
        regCreateKey(HKEY_LOCAL_MACHINE, std::u16string(settingsBaseKey) + u"\\CamOther\\CamInfo",
                     KEY_ALL_ACCESS);
    ASSERT_TRUE(regWriteString(row.get(), name, value));
}

/// One of no model that is known, with two pictures in folders and a large one in none.
struct OtherCamera : Camera {
    explicit OtherCamera(const std::string& quirks)
        : Camera(quirks.empty() ? std::vector<std::string>()
                                : std::vector<std::string>{"--quirks", quirks}) {
        const std::string folder = tell("add random=0 format=0x3001 name=DCIM");
        const std::string inner = tell("add random=0 format=0x3001 name=100CAM parent=" + folder);
        tell("add random=0 format=0x3001 name=EMPTY parent=" + folder);
        first = add("name=A.JPG parent=" + inner, pictureSize);
        add("name=B.JPG parent=" + folder, pictureSize);
        large = add("name=C.MOV", largeSize);
    }
    std::uint32_t add(const std::string& options, std::uint32_t size) {
        const std::string handle = tell("add random=" + std::to_string(size) + " " + options);
        return static_cast<std::uint32_t>(std::stoul(handle, nullptr, 0));
    }
    std::uint32_t first = 0, large = 0;
};

/// A row of the settings stands for the camera.
class OtherMakers : public testing::Test {
  protected:
    static void SetUpTestSuite() { registerModules(); }
    void SetUp() override {
        setRow(u"Cam_pnpID", u"VID_0ABC&PID_0001");
        setRow(u"Cam_protocol", u"PTP");
        setRow(u"DevType", u"CAMERA");
        setRow(u"FriendlyName", u"Other");
    }
    static std::vector<std::u16string> sortedNames(const FileInfoList& list) {
        auto names = column(list.getXml(), u"camerapath");
        std::sort(names.begin(), names.end());
        return names;
    }
    static std::vector<std::uint8_t> copyOf(PtpDevice& device, std::uint32_t handle) {
        const Target target;
        EXPECT_EQ(device.GetFile(formatText(u"%d", handle), nullptr, target.handle.get()),
                  DeviceCode::Success);
        const std::string bytes = target.bytes();
        return {bytes.begin(), bytes.end()};
    }
    const std::vector<std::u16string> all{u"DCIM\\A.JPG", u"DCIM\\B.JPG", u"DCIM\\C.MOV"};
};

class Habits : public OtherMakers, public testing::WithParamInterface<const char*> {};
INSTANTIATE_TEST_SUITE_P(OtherMakers, Habits,
                         testing::Values("", "all-parameters", "all-parameters=0x2005,no-count",
                                         "all-parameters=0x2006,root-only",
                                         "all-parameters=0x2014,no-format-filter",
                                         "no-count,root-only", "root-only,lists-itself",
                                         "root-only,lists-parent", "root-only,lists-twice",
                                         "no-count,root-only,lists-parent,lists-twice"));

TEST_P(Habits, KeepNoObjectFromBeingListedOnceAndCopied) {
    OtherCamera camera(GetParam());
    PtpDevice device(u"VID_0ABC&PID_0001");
    ASSERT_TRUE(device.CheckConnection());
    for (int again = 0; again < 2; ++again) {
        FileInfoList list;
        Reports reports;
        EXPECT_EQ(device.GetFileInfo(list, &reports), DeviceCode::Success);
        EXPECT_EQ(sortedNames(list), all);
        EXPECT_TRUE(std::is_sorted(reports.percents.begin(), reports.percents.end()));
        EXPECT_EQ(reports.percents.back(), 100);
    }
    EXPECT_TRUE(copyOf(device, camera.first) == randomBytes(pictureSize));
    EXPECT_TRUE(copyOf(device, camera.large) == randomBytes(largeSize));
    camera.expectNoViolations();
}

TEST_F(OtherMakers, AreAskedInThePlainWayUntilTheyRefuseIt) {
    OtherCamera camera("");
    PtpDevice device(u"VID_0ABC&PID_0001");
    ASSERT_TRUE(device.CheckConnection());
    FileInfoList list;
    EXPECT_EQ(device.GetFileInfo(list, nullptr), DeviceCode::Success);
    const std::string log = camera.tell("log");
    EXPECT_NE(log.find("10000000010006"), log.npos) << "one parameter, trailing zeros left out";
    EXPECT_EQ(log.find("18000000010006"), log.npos);
    EXPECT_EQ(log.find("0c00000001000110"), log.npos) << "DeviceInfo helps nobody here";
}

/// A camera that the plain way is refused by, of a model that must see nothing else.
void expectNothingButThePlainWay(VirtualCamera& camera, const WCHAR* lowLevelId) {
    camera.tell("add random=5");
    PtpDevice device(lowLevelId);
    ASSERT_TRUE(device.CheckConnection());
    FileInfoList list;
    EXPECT_EQ(device.GetFileInfo(list, nullptr), DeviceCode::ReadFailed);
    EXPECT_EQ(camera.tell("log").find("18000000010006"), std::string::npos);
}

TEST_F(OtherMakers, AreNoModelsThatAreBuiltIn) {
    VirtualCamera camera(
        {"--model", "539", "--quirks", "all-parameters", "--storage", newFolder().string()});
    expectNothingButThePlainWay(camera, cam539);
}

TEST_F(OtherMakers, AreNoModelsThatTakeTheShareMenu) {
    setRow(u"SwiftPostSupport", u"TRUE");
    Camera camera({"--quirks", "all-parameters"});
    expectNothingButThePlainWay(camera, u"VID_0ABC&PID_0001");
}

TEST_F(OtherMakers, LoseTheObjectThatTheyRefuseToDescribeAndNoOther) {
    OtherCamera camera("");
    PtpDevice device(u"VID_0ABC&PID_0001");
    ASSERT_TRUE(device.CheckConnection());
    camera.tell("fault answer value=0x2002 op=0x1008 count=4");
    FileInfoList list;
    EXPECT_EQ(device.GetFileInfo(list, nullptr), DeviceCode::Success);
    // Three of the four are folders, which nobody knows.
    const std::vector<std::u16string> names{u"DCIM\\B.JPG",
                                            u"DCIM\\C.MOV",
                                            u"DCIM\\object 1.refused",
                                            u"DCIM\\object 2.refused",
                                            u"DCIM\\object 3.refused",
                                            u"DCIM\\object 4.refused"};
    EXPECT_EQ(sortedNames(list), names);
    // What concerns the connection ends the walk.
    for (const char* const fault : {"answer value=0x2003", "answer value=0x2013", "unplug"}) {
        camera.tell(std::string("fault ") + fault + " op=0x1008");
        FileInfoList none;
        EXPECT_EQ(device.GetFileInfo(none, nullptr), DeviceCode::ReadFailed) << fault;
    }
}

TEST_F(OtherMakers, AreNotEmptyWhereTheirListDidNotCome) {
    OtherCamera camera("");
    PtpDevice device(u"VID_0ABC&PID_0001");
    ASSERT_TRUE(device.CheckConnection());
    for (const char* const fault : {"answer value=0x2001", "type phase=data value=4"}) {
        camera.tell(std::string("fault ") + fault + " op=0x1007");
        FileInfoList list;
        EXPECT_EQ(device.GetFileInfo(list, nullptr), DeviceCode::ReadFailed) << fault;
    }
}

TEST_F(OtherMakers, GiveWholeWhatTheyDoNotGiveInPieces) {
    OtherCamera camera("");
    PtpDevice device(u"VID_0ABC&PID_0001");
    ASSERT_TRUE(device.CheckConnection());
    camera.tell("fault answer value=0x2005 op=0x101B count=9");
    EXPECT_TRUE(copyOf(device, camera.large) == randomBytes(largeSize));
    const Target target;
    const std::uint32_t huge = camera.add("name=H.MOV size=0x10000000", 10);
    EXPECT_EQ(device.GetFile(formatText(u"%d", huge), nullptr, target.handle.get()),
              DeviceCode::NotSupported);
    camera.expectNoViolations();
}

TEST_F(OtherMakers, AreListedByFormatWhereTheyCannotDoItThemselves) {
    OtherCamera camera("no-format-filter,root-only,no-count");
    OtherMakersDriver driver{wString(firstPort)};
    joinSession(driver);
    const std::uint32_t script = camera.add("name=S.XML format=0x3002", 10);
    for (int again = 0; again < 2; ++again)
        EXPECT_EQ(driver.getObjectHandles(0xFFFFFFFF, 0x3002, 0), std::vector{script});
    EXPECT_EQ(driver.getNumberObjects(0xFFFFFFFF, 0x3002, 0), 1u);
}

}  // namespace
}  // namespace zlk::test
