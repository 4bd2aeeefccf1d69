// Cameras on USB in the directory, on both families of system.

#include <gmock/gmock.h>

#include <fstream>

#include "directory/CContextMgrInfo.h"
#include "directory/CDeviceUtils.h"
#include "platform/text.h"
#include "tests/directory/SettingsFixture.h"
#include "tests/support/Modules.h"
#include "tests/support/PlatformSettings.h"
#include "tests/support/VirtualCamera.h"

namespace zlk::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

const std::u16string cam539 = u"#Zephyr-Lanthorn#Cam539#0000";

class Cameras : public SettingsFixture, public testing::WithParamInterface<bool> {
  protected:
    void SetUp() override {
        if (GetParam()) setSecondFamily();
    }
    static std::u16string port(unsigned number, const std::u16string& ids) {
        return GetParam() ? formatText(u"usb#%s#%u", ids, number)
                          : formatText(u"\\\\.\\Usbscan%u", number);
    }
    static std::vector<std::u16string> installed() {
        return CContextMgrInfo().GetInstalledContextIds();
    }
    CDeviceUtilFunctions utils;
};
INSTANTIATE_TEST_SUITE_P(Families, Cameras, testing::Bool());

TEST_P(Cameras, areFoundByTheirIdsAndEnteredWhileTheyAreAttached) {
    EXPECT_EQ(utils.ContextIdToCameraPort(cam539), u"");
    VirtualCamera other({"--name", "a", "--vid", "0x5AF1", "--pid", "0x7C35"});
    VirtualCamera unknown({"--name", "b", "--vid", "0x1234", "--pid", "0x0001"});
    VirtualCamera camera({"--name", "c", "--vid", "0x5AF1", "--pid", "0x7C36"});
    EXPECT_EQ(utils.ContextIdToCameraPort(cam539), port(1002, u"vid_5af1&pid_7c36"));
    EXPECT_EQ(utils.ContextIdToLowLevelId(cam539), u"VID_5AF1&PID_7C36");
    EXPECT_EQ(utils.MapContextId(cam539), cam539);
    EXPECT_EQ(utils.findCameraPort(0x5AF1, 0x7C37, false), u"");
    utils.AddCamerasToContextManager();
    EXPECT_THAT(installed(), ElementsAre(u"#Zephyr-Lanthorn#Cam476#0000", cam539));
    camera.tell("unplug");
    EXPECT_EQ(utils.ContextIdToCameraPort(cam539), u"");
    // Looking for it has sent nothing to the others.
    for (VirtualCamera* each : {&other, &unknown, &camera}) each->expectNoViolations();
}

TEST_P(Cameras, standBehindADeviceThatTellsTheirIds) {
    // Ids of what a camera is plugged into are of the class Dock.
    putRow(u"ADock", u"VID_5AF1&PID_D0C0", u"PASSTHRU");
    put(u"ADock\\CamInfo", u"PassThruProductClass", u"Dock");
    VirtualCamera dock({"--vid", "0x5AF1", "--pid", "0xD0C0"});
    const std::u16string dockId = u"#Zephyr-Lanthorn#Dock#0000";
    utils.AddCamerasToContextManager();
    EXPECT_THAT(installed(), IsEmpty());
    EXPECT_EQ(utils.MapContextId(dockId), dockId);
    dock.tell("behind 0x5AF1 0x7C36");
    EXPECT_EQ(utils.ContextIdToCameraPort(cam539), port(1000, u"vid_5af1&pid_d0c0"));
    EXPECT_EQ(utils.MapContextId(dockId), cam539);
    EXPECT_EQ(utils.MapContextId(cam539), cam539);
    EXPECT_THAT(installed(), ElementsAre(cam539));
    // One that answers with the ids of nobody, of itself, and not at all.
    dock.tell("behind 0x1234 0x0001");
    EXPECT_EQ(utils.MapContextId(dockId), dockId);
    dock.tell("behind 0x5AF1 0xD0C0");
    EXPECT_EQ(utils.MapContextId(dockId), dockId);
    utils.AddCamerasToContextManager();
    EXPECT_THAT(installed(), ElementsAre(cam539));
    // Nobody behind it, and something without ids that is sought.
    dock.tell("behind 0 0");
    EXPECT_EQ(utils.findCameraPort(0, 0, true), u"");
    dock.tell("fault answer op=any value=0x2005 count=9");
    EXPECT_EQ(utils.MapContextId(dockId), dockId);
    EXPECT_EQ(utils.ContextIdToCameraPort(cam539), u"");
    dock.expectNoViolations();
}

class Diagnostics : public SettingsFixture {
  protected:
    void SetUp() override {
        ASSERT_GT(registerModules(), 0);
        setPlatform(u"EventLog", pathText(log));
    }
    /// What the events say, without their time and level.
    std::string eventsOf(const std::u16string& document) {
        std::filesystem::remove(log);
        CDeviceUtilFunctions().logDiagnostics(cam539, document);
        std::ifstream file(log);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    const std::filesystem::path log = newFolder() / "events";
};

TEST_F(Diagnostics, becomeEventsAndAFirmwareEntry) {
    const std::u16string head =
        u"<diagnostic><fwversion>1.2</fwversion><model>M</model><serial>S</serial>";
    for (const WCHAR* nothing :
         {u"", u"<diagnostic>", u"<diagnostic><model>M</model></diagnostic>"})
        EXPECT_EQ(eventsOf(nothing), "");
    const std::string least = eventsOf(head + u"</diagnostic>");
    EXPECT_THAT(least, HasSubstr("M=M;FW=1.2;SN=S;MINTEMP=NA;MAXTEMP=NA"));
    EXPECT_EQ(std::count(least.begin(), least.end(), '\n'), 1);
    const RegistryKey firmware = regOpenKey(
        HKEY_LOCAL_MACHINE, u"Software\\Zephyr-Lanthorn\\ZLSU_Cam539_Firmware", KEY_READ);
    std::u16string version;
    EXPECT_TRUE(regReadString(firmware.get(), u"version", version));
    EXPECT_EQ(version, u"1.2");

    const std::string all = eventsOf(
        head +
        u"<mintemp>-5</mintemp><language/><shotCounter>9</shotCounter><zoomCounter>7"
        u"</zoomCounter><failure Code='1'/><failure/><failure Code='2' File='f' Version='v' "
        u"LineNumber='3' Date='d'/></diagnostic>");
    for (const char* text : {"MINTEMP=-5;MAXTEMP=NA", "LANG=%s", "SHOTCNT=9;CTOC_SHOTS=NA",
                             "ZOOMCNT=7", "C=1;F=NA;V=NA;L=NA;DT=NA", "C=2;F=f;V=v;L=3;DT=d"})
        EXPECT_THAT(all, HasSubstr(std::string("M=M;FW=1.2;SN=S;") + text));
    EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 6);
}

TEST_F(Diagnostics, withTenThousandFailuresEndInTime) {
    std::u16string document =
        u"<diagnostic><fwversion>1</fwversion><model>M</model><serial>S</serial>";
    for (int i = 0; i < 10'000; ++i) document += u"<failure Code='1'/>";
    const std::string events = eventsOf(document + u"</diagnostic>");
    EXPECT_EQ(std::count(events.begin(), events.end(), '\n'), 10'001);
}

}  // namespace
}  // namespace zlk::test
