#include "device_objects/Escape.h"

#include "device_objects/CUnloadableCamera.h"
#include "tests/camera_devices/Card.h"
#include "tests/device_objects/ScriptedDevice.h"

namespace zlk::test {
namespace {

using testing::DoAll;
using testing::Return;
using testing::SetArgReferee;

TEST(Escape, UnderstandsItsMessages) {
    const struct {
        std::u16string message;
        DeviceCode code;
        std::u16string answer;
        std::int32_t sent = 0;  ///< number of the camera message
    } cases[] = {
        {u"CAMERA_IsConfigRequested", DeviceCode::Success, u"TRUE"},
        {u"  camera_istagsetuprequested  and more", DeviceCode::Success, u"FALSE"},
        {u"CAMERA_GetDiagFile", DeviceCode::Success, u"<diagnostic/>"},
        {u"camera_sendcameramsg unloadstart", DeviceCode::Success, u"TRUE", 1},
        {u"CAMERA_SendCameraMsg  UnloadDone", DeviceCode::Success, u"TRUE", 2},
        {u"CAMERA_SendCameraMsg \t UnloadCancel x", DeviceCode::Success, u"TRUE", 3},
        {u"CAMERA_SendCameraMsg UnloadError", DeviceCode::Success, u"FALSE", 4},
        {u"CAMERA_SendCameraMsg ConfigStart", DeviceCode::Success, u"TRUE", 101},
        {u"CAMERA_SendCameraMsg ConfigDone", DeviceCode::Success, u"TRUE", 102},
        {u"CAMERA_SendCameraMsg ConfigCancel", DeviceCode::Success, u"TRUE", 103},
        {u"CAMERA_SendCameraMsg ConfigError", DeviceCode::Success, u"TRUE", 104},
        {u"CAMERA_SendCameraMsg", DeviceCode::NotSupported, u""},
        {u"CAMERA_SendCameraMsg TagStart", DeviceCode::NotSupported, u""},
        {u"CAMERA_SendCameraMsg 1", DeviceCode::NotSupported, u""},
        {u"CAMERA_SendCameraMsg\tUnloadDone", DeviceCode::NotSupported, u""},
        {u"MSDC_IsCardInserted", DeviceCode::Success, u"TRUE"},
        {u"MSDC_NoRecursion", DeviceCode::NotSupported, u""},
        {u"", DeviceCode::NotSupported, u""},
        {u" \t ", DeviceCode::NotSupported, u""},
        {u"CAMERA_GetDiagFileX", DeviceCode::NotSupported, u""},
        {std::u16string(u"CAMERA_GetDiagFile\0", 19), DeviceCode::NotSupported, u""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(utf8Text(c.message));
        NiceDevice device;
        ON_CALL(device, CheckForRequestConfigFile).WillByDefault(Return(true));
        ON_CALL(device, GetCameraDiagnostic)
            .WillByDefault(DoAll(SetArgReferee<0>(u"<diagnostic/>"), Return(DeviceCode::Success)));
        ON_CALL(device, IsCardInserted).WillByDefault(DoAll(SetArgReferee<0>(true), Return(true)));
        ON_CALL(device, SendSpecialMsg(CameraMessage::UnloadError)).WillByDefault(Return(false));
        EXPECT_CALL(device, SendSpecialMsg).Times(0);
        if (c.sent) EXPECT_CALL(device, SendSpecialMsg(static_cast<CameraMessage>(c.sent)));
        const EscapeAnswer answer = answerEscape(device, c.message);
        EXPECT_EQ(answer.code, c.code);
        EXPECT_EQ(answer.text, c.answer);
    }
}

TEST(Escape, TurnsRecursionOffAndCannotSayThatACardIsMissing) {
    NiceDevice device;
    EXPECT_CALL(device, SetRecursion(false)).WillOnce(Return(true));
    EXPECT_EQ(answerEscape(device, u"MSDC_NoRecursion").text, u"TRUE");
    EXPECT_EQ(answerEscape(device, u"MSDC_IsCardInserted").code, DeviceCode::NotSupported);
}

TEST(Escape, AsksADeviceThatSomebodyElseHolds) {
    const Card card;
    const auto holder = makeObject<CUnloadableCamera>();
    const auto asking = makeObject<CUnloadableCamera>();
    const Bstr id(card.contextId()), question(u"MSDC_IsCardInserted");
    Bstr answer;
    EXPECT_EQ(asking->Escape(question.get(), answer.out()), E_FAIL);  // which device?
    EXPECT_EQ(asking->error(), 9);
    ASSERT_NE(answer.get(), nullptr);
    EXPECT_EQ(answer.view(), u"");
    ASSERT_EQ(holder->LockDevice(id.get()), S_OK);
    ASSERT_EQ(asking->LockDevice(id.get()), E_FAIL);
    EXPECT_EQ(asking->Escape(question.get(), answer.out()), S_OK);
    EXPECT_EQ(answer.view(), u"TRUE");
    EXPECT_EQ(asking->Escape(nullptr, answer.out()), E_FAIL);
    EXPECT_EQ(asking->error(), 8);
}

}  // namespace
}  // namespace zlk::test
