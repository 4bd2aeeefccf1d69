#include "directory/CSupportedCameraList.h"

#include <gmock/gmock.h>

#include <thread>

#include "directory/CDeviceUtilFunctions.h"
#include "tests/directory/SettingsFixture.h"

namespace zlk::test {
namespace {

class CSupportedCameraListTest : public SettingsFixture {
  protected:
    /// A row that is complete but for what the test changes.
    static void putRow(const std::u16string& productClass, const std::u16string& pnpId) {
        put(productClass + u"\\CamInfo", u"Cam_pnpID", pnpId);
        put(productClass + u"\\CamInfo", u"Cam_protocol", u"ptp");
        put(productClass + u"\\CamInfo", u"DevType", u"Camera");
        put(productClass + u"\\CamInfo", u"FriendlyName", u"The " + productClass);
    }
    static std::u16string idOf(const std::u16string& productClass) {
        return u"#Zephyr-Lanthorn#" + productClass + u"#0000";
    }
};

TEST_F(CSupportedCameraListTest, KnowsNineModelsByItself) {
    const CSupportedCameraList list;
    std::u16string models;
    for (const CCamInfo& row : list.rows()) {
        EXPECT_TRUE(row.valid && row.isCamera() && row.Monitor && !row.isPassThru());
        EXPECT_EQ(row.isPtp(), !row.Cam_pnpID.empty());
        models += row.Model + u' ';
    }
    EXPECT_EQ(models, u"947 948/264 476 283 539 594 694 794 368 ");

    const CCamInfo series = list.FindByVidPid(0x5AF1, 0x7C36);
    EXPECT_EQ(series.contextId, idOf(u"Cam539"));
    EXPECT_EQ(series.FriendlyName, u"ZL Glimmerbox 539 series camera");
    EXPECT_TRUE(series.AbilityToConsumeIntent && series.PreCueCamera && !series.SwiftPostSupport);
    const CCamInfo twoProducts = list.FindByMsdcStrings(u"zl", u"GlimmerBox 264");
    EXPECT_EQ(twoProducts.contextId, idOf(u"Cam948_264"));
    EXPECT_EQ(twoProducts.FriendlyName, u"ZL Glimmerbox 948/264 camera");
    EXPECT_FALSE(twoProducts.AbilityToConsumeIntent);
    EXPECT_EQ(list.FindByMsdcStrings(u"ZL", u"USB CAMERA").Cam_pnpID, u"");
    EXPECT_EQ(list.FindByContextId(u"#zephyr-lanthorn#CAM368#0000").Cam_pnpID,
              u"VID_5AF1&PID_7D02");
}

TEST_F(CSupportedCameraListTest, FindsNothingByNothing) {
    const CSupportedCameraList list;
    EXPECT_FALSE(list.FindByMsdcStrings(u"ZL", u"").valid);
    EXPECT_FALSE(list.FindByMsdcStrings(u"", u"USB CAMERA").valid);
    EXPECT_FALSE(list.FindByVidPid(0, 0).valid);
    EXPECT_FALSE(list.FindByContextId(u"").valid);
    EXPECT_FALSE(list.FindByPassThruClass(u"").valid);
    EXPECT_FALSE(list.FindByContextId(u"#Zephyr-Lanthorn#Cam539#0001").valid);
}

TEST_F(CSupportedCameraListTest, DropsRowsThatAreNotComplete) {
    struct Case {
        const WCHAR *productClass, *missing;
    };
    for (const Case& c : {Case{u"NoProtocol", u"Cam_protocol"}, Case{u"NoType", u"DevType"},
                          Case{u"NoName", u"FriendlyName"}, Case{u"NoId", u"Cam_pnpID"},
                          Case{u"Whole", u"MSDC_vendID"}}) {
        putRow(c.productClass, u"VID_0001&PID_0002");
        RegDeleteValueW(makeKey(std::u16string(c.productClass) + u"\\CamInfo").get(), c.missing);
    }
    putRow(u"TooLong", u"VID_0001&PID_0002");
    put(u"TooLong\\CamInfo", u"DevType", std::u16string(150, u'x'));
    put(u"VolumeOnly\\CamInfo", u"MSDC_vendID", u"Acme");
    put(u"VolumeOnly\\CamInfo", u"MSDC_prodID", u"Shot");
    put(u"VolumeOnly\\CamInfo", u"DevType", u"Camera");
    put(u"VolumeOnly\\CamInfo", u"Model", u"1x");
    const CSupportedCameraList list;
    ASSERT_EQ(list.rows().size(), 2u + 9);
    EXPECT_EQ(list.rows()[0].contextId, idOf(u"VolumeOnly"));
    EXPECT_EQ(list.rows()[0].MSDC_vendID, u"ACME");
    EXPECT_EQ(list.rows()[0].FriendlyName, u"ZL Glimmerbox 1x camera");
    EXPECT_EQ(list.rows()[1].contextId, idOf(u"Whole"));
    EXPECT_EQ(list.rows()[1].Cam_protocol, u"PTP");
}

TEST_F(CSupportedCameraListTest, LetsTheSettingsGoBeforeItsOwnRows) {
    putRow(u"CAM947", u"vid_0001&pid_0947");
    putRow(u"Newer", u"VID_5AF1&PID_7C36");
    putRow(u"Odd", u"USB\\VID_0001&PID_0002");
    put(u"CAM947\\CamInfo", u"AbilityToConsumeIntent", u"yes");
    put(u"CAM947\\CamInfo", u"SwiftPostSupport", u" True ");
    put(u"CAM947\\CamInfo", u"Monitor", u"");
    const CSupportedCameraList list;
    EXPECT_EQ(list.rows().size(), 3u + 8);
    const CCamInfo replaced = list.FindByContextId(idOf(u"Cam947"));
    EXPECT_EQ(replaced.Cam_pnpID, u"VID_0001&PID_0947");
    EXPECT_FALSE(replaced.AbilityToConsumeIntent);
    EXPECT_TRUE(replaced.SwiftPostSupport && replaced.Monitor && !replaced.PreCueCamera);
    EXPECT_EQ(list.FindByVidPid(0x5AF1, 0x7C36).contextId, idOf(u"Newer"));
    EXPECT_TRUE(list.FindByContextId(idOf(u"Cam539")).valid);
    EXPECT_FALSE(list.FindByVidPid(1, 2).valid);
}

TEST_F(CSupportedCameraListTest, KnowsPassThruDevicesByTheirClass) {
    putRow(u"DockCam", u"VID_5AF1&PID_7E01");
    put(u"DockCam\\CamInfo", u"DevType", u"passthru2");
    put(u"DockCam\\CamInfo", u"PassThruProductClass", u"DockClass");
    const CCamInfo row = CSupportedCameraList().FindByPassThruClass(u"dockCLASS");
    EXPECT_EQ(row.contextId, idOf(u"DockCam"));
    EXPECT_TRUE(row.isPassThru());
    EXPECT_FALSE(row.isCamera());
}

TEST_F(CSupportedCameraListTest, SharesOneTableAmongTheThreadsOfAProcess) {
    const CSupportedCameraList* seen[4] = {};
    {
        std::vector<std::jthread> threads;
        for (auto& list : seen)
            threads.emplace_back([&list] { list = &CDeviceUtilFunctions::GetCameraList(); });
    }
    EXPECT_THAT(seen, testing::Each(seen[0]));
    putRow(u"Later", u"VID_0001&PID_0003");
    EXPECT_FALSE(CDeviceUtilFunctions::GetCameraList().FindByVidPid(1, 3).valid);
    EXPECT_TRUE(CSupportedCameraList().FindByVidPid(1, 3).valid);
}

}  // namespace
}  // namespace zlk::test
