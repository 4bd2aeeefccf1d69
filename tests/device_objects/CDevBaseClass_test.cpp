// The claim on a device, and what every operation does before it reaches one.

#include "device_objects/CDevBaseClass.h"

#include "device_objects/CSPostDevice.h"
#include "device_objects/CTagDevice.h"
#include "device_objects/CUnloadableCamera.h"
#include "tests/camera_devices/Card.h"
#include "tests/device_objects/ScriptedDevice.h"
#include "tests/support/ChildProcess.h"

namespace zlk::test {
namespace {

HRESULT claim(IPhotoDevice& camera, std::u16string_view id) {
    return camera.LockDevice(Bstr(id).get());
}

/// Every guarded operation of an object fails with this code, its out parameter unwritten.
void expectEverythingFails(IPhotoDevice& camera, LONG code) {
    const Bstr text(u"text");
    WCHAR sentinel = 0;
    const auto expectFailure = [&](auto&& call) {
        BSTR out = &sentinel;
        LONG error = -1;
        EXPECT_EQ(call(&out), E_FAIL);
        EXPECT_EQ(out, &sentinel);
        EXPECT_EQ(camera.get_ErrorCode(&error), S_OK);
        EXPECT_EQ(error, code);
    };
    expectFailure([&](BSTR* out) { return camera.GetFileInfo(nullptr, out); });
    expectFailure([&](BSTR*) { return camera.SaveFileData(text.get(), text.get(), nullptr); });
    expectFailure([&](BSTR*) { return camera.DeleteFileW(text.get()); });
    expectFailure([&](BSTR*) { return camera.SaveThumbnail(text.get(), text.get()); });
    expectFailure([&](BSTR* out) { return camera.get_Dpof(out); });
    expectFailure([&](BSTR*) { return camera.put_Dpof(text.get()); });
    expectFailure([&](BSTR* out) { return camera.get_Intent(out); });
    expectFailure([&](BSTR*) { return camera.put_Intent(text.get()); });
    expectFailure([&](BSTR* out) { return camera.get_DeviceId(out); });
    expectFailure([&](BSTR* out) { return camera.get_DeviceDate(out); });
    expectFailure([&](BSTR*) { return camera.put_DeviceDate(text.get()); });
}

TEST(Claim, AFreshObjectHoldsNothing) {
    const auto camera = makeObject<CUnloadableCamera>();
    EXPECT_EQ(camera->error(), 0);
    EXPECT_EQ(camera->UnlockDevice(), E_FAIL);
    EXPECT_EQ(camera->error(), 3);
    expectEverythingFails(*camera.get(), 3);
    LONG connected = -1;
    EXPECT_EQ(camera->get_IsConnected(&connected), E_FAIL);
    EXPECT_EQ(connected, 0);
}

TEST(Claim, NeedsNoDeviceButEveryOperationDoes) {
    const auto camera = makeObject<CUnloadableCamera>();
    for (const WCHAR* id : {u"#Zephyr-Lanthorn#RemovableDrive#Q", u"no id at all", u"", u"##",
                            u"#Zephyr-Lanthorn#RemovableDrive#%%%%SERVER%%VIDEOS"}) {
        EXPECT_EQ(claim(*camera.get(), id), S_OK);
        expectEverythingFails(*camera.get(), 9);
        LONG connected = -1;
        EXPECT_EQ(camera->get_IsConnected(&connected), S_OK);
        EXPECT_EQ(connected, 0);
        EXPECT_EQ(camera->error(), 0);
        EXPECT_EQ(camera->UnlockDevice(), S_OK);
    }
}

TEST(Claim, IsOneObjectsUntilItLetsGo) {
    const std::u16string id = u"#Zephyr-Lanthorn#Cam947#0000";
    auto first = makeObject<CUnloadableCamera>();
    const auto second = makeObject<CUnloadableCamera>();
    const auto tagger = makeObject<CTagDevice>();
    EXPECT_EQ(claim(*first.get(), id), S_OK);
    EXPECT_EQ(claim(*first.get(), u"#another"), S_OK);  // changes nothing
    EXPECT_EQ(claim(*second.get(), u"#another"), S_OK);
    EXPECT_EQ(second->UnlockDevice(), S_OK);
    EXPECT_EQ(claim(*second.get(), id), E_FAIL);
    EXPECT_EQ(second->error(), 2);
    expectEverythingFails(*second.get(), 3);
    EXPECT_EQ(tagger->LockDevice(Bstr(id).get()), E_FAIL);
    EXPECT_EQ(claim(*second.get(), u"#zephyr-lanthorn#cam947#0000"), S_OK);  // another name
    EXPECT_EQ(second->UnlockDevice(), S_OK);
    first.reset();
    EXPECT_EQ(claim(*second.get(), id), S_OK);
    EXPECT_EQ(second->UnlockDevice(), S_OK);
    EXPECT_EQ(tagger->LockDevice(Bstr(id).get()), S_OK);
}

TEST(Claim, ANameThatTheSystemCannotTakeIsRefused) {
    const auto camera = makeObject<CUnloadableCamera>();
    const auto other = makeObject<CUnloadableCamera>();
    const std::u16string id = u"#Zephyr-Lanthorn#Cam947#0000";
    for (const std::u16string& bad :
         {id + std::u16string(u"\0x", 2), std::u16string(10'000, u'x'), id + u"\\..\\x"}) {
        EXPECT_EQ(claim(*camera.get(), bad), E_FAIL);
        EXPECT_EQ(camera->error(), 2);
    }
    for (const std::u16string& odd : {std::u16string(u"../../escape"), std::u16string(u"a\nb")}) {
        EXPECT_EQ(claim(*camera.get(), odd), S_OK);
        EXPECT_EQ(claim(*other.get(), odd), E_FAIL);
        EXPECT_EQ(camera->UnlockDevice(), S_OK);
    }
    EXPECT_EQ(claim(*camera.get(), id), S_OK);
}

ZLK_CHILD(holdsTheClaim) {
    const auto camera = makeObject<CUnloadableCamera>();
    child.say(SUCCEEDED(claim(*camera.get(), wideText(child.arguments.at(0)))) ? "held"
                                                                               : "refused");
    child.hear();
    return 0;
}

TEST(Claim, EndsWithItsProcess) {
    const auto camera = makeObject<CUnloadableCamera>();
    for (int round = 0; round < 5; ++round) {
        ChildProcess holder("holdsTheClaim", {"#Zephyr-Lanthorn#Cam947#0000"});
        ASSERT_EQ(holder.hear(), "held");
        EXPECT_EQ(claim(*camera.get(), u"#Zephyr-Lanthorn#Cam947#0000"), E_FAIL);
        EXPECT_EQ(camera->error(), 2);
        holder.kill();
        EXPECT_EQ(claim(*camera.get(), u"#Zephyr-Lanthorn#Cam947#0000"), S_OK);
        ChildProcess late("holdsTheClaim", {"#Zephyr-Lanthorn#Cam947#0000"});
        EXPECT_EQ(late.hear(), "refused");
        EXPECT_EQ(camera->UnlockDevice(), S_OK);
    }
}

TEST(GuardedCall, MakesADroppedDeviceAnew) {
    Card card;
    card.write("MISC/DEVICEID.XML", "<id/>");
    const auto camera = makeObject<CUnloadableCamera>();
    ASSERT_EQ(claim(*camera.get(), card.contextId()), S_OK);
    Bstr text;
    EXPECT_EQ(camera->get_DeviceId(text.out()), S_OK);
    EXPECT_EQ(text.view(), u"<id/>");
    card.remove();
    expectEverythingFails(*camera.get(), 9);
    card.insert();
    EXPECT_EQ(camera->get_DeviceId(text.out()), S_OK);
    EXPECT_EQ(camera->error(), 0);
}

TEST(GuardedCall, KeepsEveryCodeAndHandsOutAText) {
    const auto camera = makeObject<CUnloadableCamera>();
    const auto device = camera->hold();
    for (const auto code : {DeviceCode::ReadFailed, DeviceCode::NotSupported,
                            DeviceCode::NotConnected, DeviceCode::OutOfMemory}) {
        EXPECT_CALL(*device, GetIntentFile).WillOnce(testing::Return(code));
        Bstr text;
        EXPECT_EQ(camera->get_Intent(text.out()), E_FAIL);
        ASSERT_NE(text.get(), nullptr);
        EXPECT_EQ(text.view(), u"");
        EXPECT_EQ(camera->error(), static_cast<LONG>(code));
        EXPECT_EQ(camera->error(), static_cast<LONG>(code));  // reading clears nothing
    }
    // A missing print order is no failure.
    EXPECT_CALL(*device, GetDpofFile).WillOnce(testing::Return(DeviceCode::ReadFailed));
    Bstr text;
    EXPECT_EQ(camera->get_Dpof(text.out()), S_OK);
    ASSERT_NE(text.get(), nullptr);
    EXPECT_EQ(camera->error(), 0);
    EXPECT_EQ(camera->get_Dpof(nullptr), E_POINTER);
}

TEST(GuardedCall, LetsNoExceptionOut) {
    const auto camera = makeObject<CUnloadableCamera>();
    const auto device = camera->hold();
    EXPECT_CALL(*device, DeleteFile)
        .WillOnce(testing::Throw(std::bad_alloc()))
        .WillOnce(testing::Throw(std::length_error("x")));
    EXPECT_EQ(camera->DeleteFileW(nullptr), E_FAIL);
    EXPECT_EQ(camera->error(), 12);
    EXPECT_EQ(camera->DeleteFileW(nullptr), E_FAIL);
    EXPECT_EQ(camera->error(), 4);
}

}  // namespace
}  // namespace zlk::test
