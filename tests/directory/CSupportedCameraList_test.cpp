#include "directory/CSupportedCameraList.h"

#include "directory/CDeviceUtilFunctions.h"
#include "tests/directory/SettingsFixture.h"

namespace zlk::test {
namespace {

class CSupportedCameraListTest : public SettingsFixture {
  protected:
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
    for (const CCamInfo& row :
         {list.FindByMsdcStrings(u"ZL", u""), list.FindByMsdcStrings(u"", u"USB CAMERA"),
          list.FindByVidPid(0, 0), list.FindByContextId(u""), list.FindByPassThruClass(u""),
          list.FindByContextId(u"#Zephyr-Lanthorn#Cam539#0001")})
        EXPECT_FALSE(row.valid);
}

TEST_F(CSupportedCameraListTest, DropsRowsThatAreNotComplete) {
    for (const auto& [productClass, missing] : {std::pair{u"NoProtocol", u"Cam_protocol"},
                                                {u"NoType", u"DevType"},
                                                {u"NoName", u"FriendlyName"},
                                                {u"NoId", u"Cam_pnpID"},
                                                {u"Whole", u"MSDC_vendID"}}) {
        putRow(productClass, u"VID_0001&PID_0002");
        RegDeleteValueW(makeKey(std::u16string(productClass) + u"\\CamInfo").get(), missing);
    }
    putRow(u"TooLong", u"VID_0001&PID_0002");
    put(u"TooLong\\CamInfo", u"DevType", std::u16string(150, u'x'));
    for (const auto& [name, text] : {std::pair{u"MSDC_vendID", u"Acme"},
                                     {u"MSDC_prodID", u"Shot"},
                                     {u"DevType", u"Camera"},
                                     {u"Model", u"1x"}})
        put(u"VolumeOnly\\CamInfo", name, text);
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
    put(u"Newer\\CamInfo", u"DevType", u"passthru2");
    put(u"Newer\\CamInfo", u"PassThruProductClass", u"DockClass");
    put(u"CAM947\\CamInfo", u"AbilityToConsumeIntent", u"yes");
    put(u"CAM947\\CamInfo", u"SwiftPostSupport", u" True ");
    put(u"CAM947\\CamInfo", u"Monitor", u"");
    const CSupportedCameraList list;
    EXPECT_EQ(list.rows().size(), 3u + 8);
    const CCamInfo replaced = list.FindByContextId(idOf(u"Cam947"));
    EXPECT_EQ(replaced.Cam_pnpID, u"VID_0001&PID_0947");
    EXPECT_FALSE(replaced.AbilityToConsumeIntent);
    EXPECT_TRUE(replaced.SwiftPostSupport && replaced.Monitor && !replaced.PreCueCamera);
    EXPECT_TRUE(replaced.isCamera() && !replaced.isPassThru());
    const CCamInfo newer = list.FindByVidPid(0x5AF1, 0x7C36);
    EXPECT_EQ(newer.contextId, idOf(u"Newer"));
    EXPECT_TRUE(newer.isPassThru() && !newer.isCamera());
    EXPECT_EQ(list.FindByPassThruClass(u"dockCLASS").contextId, idOf(u"Newer"));
    EXPECT_TRUE(list.FindByContextId(idOf(u"Cam539")).valid);
    EXPECT_FALSE(list.FindByVidPid(1, 2).valid);
}

TEST_F(CSupportedCameraListTest, IsReadOnceInAProcess) {
    EXPECT_FALSE(CDeviceUtilFunctions::GetCameraList().FindByVidPid(1, 3).valid);
    putRow(u"Later", u"VID_0001&PID_0003");
    EXPECT_FALSE(CDeviceUtilFunctions::GetCameraList().FindByVidPid(1, 3).valid);
    EXPECT_TRUE(CSupportedCameraList().FindByVidPid(1, 3).valid);
}

}  // namespace
}  // namespace zlk::test
