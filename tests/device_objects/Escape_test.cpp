#include "device_objects/Escape.h"

#include "device_objects/CUnloadableCamera.h"
#include "tests/camera_devices/Card.h"
#include "tests/device_objects/ScriptedDevice.h"

namespace zlk::test {
namespace {

using namespace std::string_literals;
using testing::DoAll;
using testing::Return;
using testing::SetArgReferee;

TEST(Escape, UnderstandsItsMessages) {
    const struct {
        std::u16string message, answer;
        std::int32_t sent = 0;  ///< number of the camera message
    } cases[] = {
        {u"CAMERA_IsConfigRequested", u"TRUE"},
        {u"  camera_istagsetuprequested  and more", u"FALSE"},
        {u"CAMERA_GetDiagFile", u"<diagnostic/>"},
        {u"MSDC_IsCardInserted", u"TRUE"},
        {u"camera_sendcameramsg unloadstart", u"TRUE", 1},
        {u"CAMERA_SendCameraMsg  UnloadDone", u"TRUE", 2},
        {u"CAMERA_SendCameraMsg \t UnloadCancel x", u"TRUE", 3},
        {u"CAMERA_SendCameraMsg UnloadError", u"FALSE", 4},
        {u"CAMERA_SendCameraMsg ConfigStart", u"TRUE", 101},
        {u"CAMERA_SendCameraMsg ConfigDone", u"TRUE", 102},
        {u"CAMERA_SendCameraMsg ConfigCancel", u"TRUE", 103},
        {u"CAMERA_SendCameraMsg ConfigError", u"TRUE", 104},
    };
    NiceDevice device;
    ON_CALL(device, CheckForRequestConfigFile).WillByDefault(Return(true));
    ON_CALL(device, GetCameraDiagnostic)
        .WillByDefault(DoAll(SetArgReferee<0>(u"<diagnostic/>"), Return(DeviceCode::Success)));
    ON_CALL(device, IsCardInserted).WillByDefault(DoAll(SetArgReferee<0>(true), Return(true)));
    std::int32_t sent = 0;
    ON_CALL(device, SendSpecialMsg).WillByDefault([&](CameraMessage message) {
        sent = static_cast<std::int32_t>(message);
        return message != CameraMessage::UnloadError;
    });
    for (const auto& c : cases) {
        SCOPED_TRACE(utf8Text(c.message));
        sent = 0;
        const EscapeAnswer answer = answerEscape(device, c.message);
        EXPECT_EQ(answer.code, DeviceCode::Success);
        EXPECT_EQ(answer.text, c.answer);
        EXPECT_EQ(sent, c.sent);
    }
    sent = 0;
    for (const std::u16string& message :
         {u"CAMERA_SendCameraMsg"s, u"CAMERA_SendCameraMsg TagStart"s, u"CAMERA_SendCameraMsg 1"s,
          u"CAMERA_SendCameraMsg\tUnloadDone"s, u"MSDC_NoRecursion"s, u""s, u" \t "s,
          u"CAMERA_GetDiagFileX"s, u"CAMERA_GetDiagFile\0"s}) {
        const EscapeAnswer answer = answerEscape(device, message);
        EXPECT_EQ(answer.code, DeviceCode::NotSupported) << utf8Text(message);
        EXPECT_EQ(answer.text, u"");
    }
    EXPECT_EQ(sent, 0);
}

TEST(Escape, TurnsRecursionOffAndCannotSayThatACardIsMissing) {
    NiceDevice device;
    EXPECT_CALL(device, SetRecursion(false)).WillOnce(Return(true));
    EXPECT_EQ(answerEscape(device, u"MSDC_NoRecursion").text, u"TRUE");
    EXPECT_EQ(answerEscape(device, u"MSDC_IsCardInserted").code, DeviceCode::NotSupported);
}

TEST(Escape, AsksADeviceThatSomebodyElseHolds) {
    const Card card;
    const auto holder = makeObject<CUnloadableCamera>(), asking = makeObject<CUnloadableCamera>();
    const Bstr question(u"MSDC_IsCardInserted");
    Bstr answer;
    EXPECT_EQ(asking->codeOf(asking->Escape(question.get(), answer.out())), 9);  // which device?
    ASSERT_NE(answer.get(), nullptr);
    EXPECT_EQ(answer.view(), u"");
    ASSERT_EQ(holder->lock(card.contextId()), S_OK);
    ASSERT_EQ(asking->lock(card.contextId()), E_FAIL);
    EXPECT_EQ(asking->Escape(question.get(), answer.out()), S_OK);
    EXPECT_EQ(answer.view(), u"TRUE");
    EXPECT_EQ(asking->codeOf(asking->Escape(nullptr, answer.out())), 8);
}

TEST(Escape, HoldsForTheClaimOfTheSameId) {
    registerModules();
    const Card card;
    card.write("TOP.JPG", "a");
    card.write("DCIM/100CAM/DEEP.JPG", "b");
    const auto holder = makeObject<CUnloadableCamera>(), object = makeObject<CUnloadableCamera>();
    Bstr text;
    ASSERT_EQ(holder->lock(card.contextId()), S_OK);
    ASSERT_EQ(object->lock(card.contextId()), E_FAIL);
    ASSERT_EQ(object->Escape(Bstr(u"MSDC_NoRecursion").get(), text.out()), S_OK);
    ASSERT_EQ(text.view(), u"TRUE");
    EXPECT_EQ(object->lock(card.contextId()), E_FAIL);
    ASSERT_EQ(holder->UnlockDevice(), S_OK);
    ASSERT_EQ(object->lock(card.contextId()), S_OK);
    ASSERT_EQ(object->GetFileInfo(nullptr, text.out()), S_OK);
    EXPECT_THAT(column(std::u16string(text.view()), u"camerapath"),
                testing::ElementsAre(u"TOP.JPG"));
}

TEST(Escape, LeavesNoDeviceBehindForTheClaimOfAnother) {
    registerModules();
    const Card asked, claimed;
    asked.write("DCIM/100CAM/A.JPG", "a");
    claimed.write("DCIM/100CAM/B.JPG", "b");
    const auto object = makeObject<CUnloadableCamera>();
    Bstr text;
    ASSERT_EQ(object->lock(asked.contextId()), S_OK);
    ASSERT_EQ(object->UnlockDevice(), S_OK);
    ASSERT_EQ(object->Escape(Bstr(u"MSDC_IsCardInserted").get(), text.out()), S_OK);
    ASSERT_EQ(object->lock(claimed.contextId()), S_OK);
    ASSERT_EQ(object->GetFileInfo(nullptr, text.out()), S_OK);
    EXPECT_THAT(column(std::u16string(text.view()), u"camerapath"),
                testing::ElementsAre(u"\\DCIM\\100CAM\\B.JPG"));
}

}  // namespace
}  // namespace zlk::test
