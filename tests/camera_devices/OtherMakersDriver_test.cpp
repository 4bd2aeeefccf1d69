// Cameras of other makers, which take the plain way no more than they have to.

#include "camera_devices/OtherMakersDriver.h"

#include "directory/SettingsTree.h"
#include "tests/camera_devices/PtpDevice.h"

namespace zlk::test {
namespace {

using testing::ElementsAre;

void setRow(const std::u16string& name, const std::u16string& value) {
    const RegistryKey row =
        regCreateKey(HKEY_LOCAL_MACHINE, std::u16string(settingsBaseKey) + u"\\CamOther\\CamInfo",
                     KEY_ALL_ACCESS);
    ASSERT_TRUE(regWriteString(row.get(), name, value));
}

constexpr WCHAR otherCamera[] = u"VID_0ABC&PID_0001";

/// One of no model that is known, with two pictures in folders and a large one in none.
struct OtherCamera : Camera {
    explicit OtherCamera(const std::string& quirks = "")
        : Camera(quirks.empty() ? std::vector<std::string>()
                                : std::vector<std::string>{"--quirks", quirks}) {
        const std::string folder = tell("add random=0 format=0x3001 name=DCIM");
        const std::string inner = tell("add random=0 format=0x3001 name=100CAM parent=" + folder);
        add("random=0 format=0x3001 name=EMPTY parent=" + folder);
        first = add("random=3000 name=A.JPG parent=" + inner);
        add("random=3000 name=B.JPG parent=" + folder);
        large = add("random=21000000 name=C.MOV");
    }
    std::uint32_t first = 0, large = 0;
};

/// A row of the settings stands for the camera.
class OtherMakers : public testing::Test {
  protected:
    static void SetUpTestSuite() { registerModules(); }
    OtherMakers() {
        setRow(u"Cam_pnpID", otherCamera);
        setRow(u"Cam_protocol", u"PTP");
        setRow(u"DevType", u"CAMERA");
        setRow(u"FriendlyName", u"Other");
    }
    static std::vector<std::u16string> namesListed(PtpDevice& device,
                                                   ObjectProgressInterface* listener = nullptr) {
        auto names = column(listingOf(device, listener), u"camerapath");
        std::sort(names.begin(), names.end());
        return names;
    }
};

class ConnectedOtherMakers : public OtherMakers {
  protected:
    explicit ConnectedOtherMakers(const std::string& quirks = "") : camera(quirks) {}
    void SetUp() override { ASSERT_TRUE(device.CheckConnection()); }

    OtherCamera camera;
    PtpDevice device{otherCamera};
};

struct Habits : ConnectedOtherMakers, testing::WithParamInterface<const char*> {
    Habits() : ConnectedOtherMakers(GetParam()) {}
};
INSTANTIATE_TEST_SUITE_P(OtherMakers, Habits,
                         testing::Values("", "all-parameters", "all-parameters=0x2005,no-count",
                                         "all-parameters=0x2006,root-only",
                                         "all-parameters=0x2014,no-format-filter",
                                         "no-count,root-only", "root-only,lists-itself",
                                         "root-only,lists-parent", "root-only,lists-twice",
                                         "no-count,root-only,lists-parent,lists-twice"));

TEST_P(Habits, KeepNoObjectFromBeingListedOnceAndCopied) {
    for (int again = 0; again < 2; ++again) {
        Reports reports;
        EXPECT_THAT(namesListed(device, &reports),
                    ElementsAre(u"DCIM\\A.JPG", u"DCIM\\B.JPG", u"DCIM\\C.MOV"));
        EXPECT_TRUE(std::is_sorted(reports.percents.begin(), reports.percents.end()));
        EXPECT_EQ(reports.percents.back(), 100);
    }
    EXPECT_TRUE(copyOf(device, idOf(camera.first)) == Copy(DeviceCode::Success, randomText(3000)));
    EXPECT_TRUE(copyOf(device, idOf(camera.large)) ==
                Copy(DeviceCode::Success, randomText(21'000'000)));
    camera.expectNoViolations();
}

TEST_F(ConnectedOtherMakers, AreAskedInThePlainWayUntilTheyRefuseIt) {
    listingOf(device);
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
    listingOf(device, nullptr, DeviceCode::ReadFailed);
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
    expectNothingButThePlainWay(camera, otherCamera);
}

TEST_F(ConnectedOtherMakers, LoseTheObjectThatTheyRefuseToDescribeAndNoOther) {
    camera.tell("fault answer value=0x2002 op=0x1008 count=4");
    // Three of the four are folders, which nobody knows.
    EXPECT_THAT(namesListed(device),
                ElementsAre(u"DCIM\\B.JPG", u"DCIM\\C.MOV", u"DCIM\\object 1.refused",
                            u"DCIM\\object 2.refused", u"DCIM\\object 3.refused",
                            u"DCIM\\object 4.refused"));
    // What concerns the connection ends the walk.
    for (const char* const fault : {"answer value=0x2003", "answer value=0x2013", "unplug"}) {
        camera.tell(std::string("fault ") + fault + " op=0x1008");
        SCOPED_TRACE(fault);
        listingOf(device, nullptr, DeviceCode::ReadFailed);
    }
}

TEST_F(ConnectedOtherMakers, AreNotEmptyWhereTheirListDidNotCome) {
    for (const char* const fault : {"answer value=0x2001", "type phase=data value=4"}) {
        camera.tell(std::string("fault ") + fault + " op=0x1007");
        SCOPED_TRACE(fault);
        listingOf(device, nullptr, DeviceCode::ReadFailed);
    }
}

TEST_F(ConnectedOtherMakers, GiveWholeWhatTheyDoNotGiveInPieces) {
    camera.tell("fault answer value=0x2005 op=0x101B count=9");
    EXPECT_TRUE(copyOf(device, idOf(camera.large)) ==
                Copy(DeviceCode::Success, randomText(21'000'000)));
    const std::uint32_t huge = camera.add("random=10 name=H.MOV size=0x10000000");
    EXPECT_EQ(copyOf(device, idOf(huge)).first, DeviceCode::NotSupported);
    camera.expectNoViolations();
}

TEST_F(OtherMakers, AreListedByFormatWhereTheyCannotDoItThemselves) {
    OtherCamera camera("no-format-filter,root-only,no-count");
    OtherMakersDriver driver{wString(firstPort)};
    joinSession(driver);
    const std::uint32_t script = camera.add("random=10 name=S.XML format=0x3002");
    for (int again = 0; again < 2; ++again)
        EXPECT_EQ(driver.getObjectHandles(0xFFFFFFFF, 0x3002, 0), std::vector{script});
    EXPECT_EQ(driver.getNumberObjects(0xFFFFFFFF, 0x3002, 0), 1u);
}

}  // namespace
}  // namespace zlk::test
