// The claim on a device, and what every operation does before it reaches one.

#include "device_objects/CDevBaseClass.h"

#include "device_objects/CSPostDevice.h"
#include "device_objects/CTagDevice.h"
#include "device_objects/CUnloadableCamera.h"
#include "tests/camera_devices/Card.h"
#include "tests/device_objects/ScriptedDevice.h"

namespace zlk::test {
namespace {

using namespace std::string_literals;

/// Every guarded operation of an object fails with this code, its out parameter unwritten.
void expectEverythingFails(IPhotoDevice& camera, LONG code) {
    const Bstr text(u"text");
    WCHAR sentinel = 0;
    BSTR out = &sentinel;
    const auto expectFailure = [&](HRESULT result) {
        LONG error = -1;
        EXPECT_EQ(result, E_FAIL);
        EXPECT_EQ(out, &sentinel);
        EXPECT_EQ(camera.get_ErrorCode(&error), S_OK);
        EXPECT_EQ(error, code);
    };
    expectFailure(camera.GetFileInfo(nullptr, &out));
    expectFailure(camera.SaveFileData(text.get(), text.get(), nullptr));
    expectFailure(camera.DeleteFileW(text.get()));
    expectFailure(camera.SaveThumbnail(text.get(), text.get()));
    for (const auto getter : {&IPhotoDevice::get_Dpof, &IPhotoDevice::get_Intent,
                              &IPhotoDevice::get_DeviceId, &IPhotoDevice::get_DeviceDate})
        expectFailure((camera.*getter)(&out));
    for (const auto setter :
         {&IPhotoDevice::put_Dpof, &IPhotoDevice::put_Intent, &IPhotoDevice::put_DeviceDate})
        expectFailure((camera.*setter)(text.get()));
}

const std::u16string cam947 = u"#Zephyr-Lanthorn#Cam947#0000";

struct Claim : testing::Test {
    const ComPtr<PlainObject<WithDevice<CUnloadableCamera>>> camera =
        makeObject<CUnloadableCamera>();
};
using GuardedCall = Claim;

TEST_F(Claim, AFreshObjectHoldsNothing) {
    EXPECT_EQ(camera->error(), 0);
    EXPECT_EQ(camera->codeOf(camera->UnlockDevice()), 3);
    expectEverythingFails(*camera.get(), 3);
    LONG connected = -1;
    EXPECT_EQ(camera->get_IsConnected(&connected), E_FAIL);
    EXPECT_EQ(connected, 0);
}

TEST_F(Claim, NeedsNoDeviceButEveryOperationDoes) {
    for (const WCHAR* id : {u"#Zephyr-Lanthorn#RemovableDrive#Q", u"no id at all", u"", u"##",
                            u"#Zephyr-Lanthorn#RemovableDrive#%%%%SERVER%%VIDEOS"}) {
        EXPECT_EQ(camera->lock(id), S_OK);
        expectEverythingFails(*camera.get(), 9);
        LONG connected = -1;
        EXPECT_EQ(camera->codeOf(camera->get_IsConnected(&connected)), 0);
        EXPECT_EQ(connected, 0);
        EXPECT_EQ(camera->UnlockDevice(), S_OK);
    }
}

TEST_F(Claim, IsOneObjectsUntilItLetsGo) {
    auto first = makeObject<CUnloadableCamera>();
    const auto second = makeObject<CUnloadableCamera>();
    const auto tagger = makeObject<CTagDevice>();
    EXPECT_EQ(first->lock(cam947), S_OK);
    EXPECT_EQ(first->lock(u"#another"), S_OK);  // changes nothing
    EXPECT_EQ(second->lock(u"#another"), S_OK);
    EXPECT_EQ(second->UnlockDevice(), S_OK);
    EXPECT_EQ(second->codeOf(second->lock(cam947)), 2);
    expectEverythingFails(*second.get(), 3);
    EXPECT_EQ(tagger->lock(cam947), E_FAIL);
    EXPECT_EQ(second->lock(u"#zephyr-lanthorn#cam947#0000"), S_OK);  // another name
    EXPECT_EQ(second->UnlockDevice(), S_OK);
    first.reset();
    EXPECT_EQ(second->lock(cam947), S_OK);
    EXPECT_EQ(second->UnlockDevice(), S_OK);
    EXPECT_EQ(tagger->lock(cam947), S_OK);
}

TEST_F(Claim, ANameThatTheSystemCannotTakeIsRefused) {
    const auto other = makeObject<CUnloadableCamera>();
    for (const std::u16string& bad :
         {cam947 + u"\0x"s, std::u16string(10'000, u'x'), cam947 + u"\\..\\x"})
        EXPECT_EQ(camera->codeOf(camera->lock(bad)), 2);
    for (const WCHAR* odd : {u"../../escape", u"a\nb"}) {
        EXPECT_EQ(camera->lock(odd), S_OK);
        EXPECT_EQ(other->lock(odd), E_FAIL);
        EXPECT_EQ(camera->UnlockDevice(), S_OK);
    }
    EXPECT_EQ(camera->lock(cam947), S_OK);
}

TEST_F(GuardedCall, MakesADroppedDeviceAnew) {
    Card card;
    card.write("MISC/DEVICEID.XML", "<id/>");
    ASSERT_EQ(camera->lock(card.contextId()), S_OK);
    Bstr text;
    EXPECT_EQ(camera->get_DeviceId(text.out()), S_OK);
    EXPECT_EQ(text.view(), u"<id/>");
    card.remove();
    expectEverythingFails(*camera.get(), 9);
    card.insert();
    EXPECT_EQ(camera->codeOf(camera->get_DeviceId(text.out())), 0);
}

TEST_F(GuardedCall, KeepsEveryCodeAndHandsOutAText) {
    const auto device = camera->hold();
    for (const auto code : {DeviceCode::ReadFailed, DeviceCode::NotSupported,
                            DeviceCode::NotConnected, DeviceCode::OutOfMemory}) {
        EXPECT_CALL(*device, GetIntentFile).WillOnce(testing::Return(code));
        Bstr text;
        EXPECT_EQ(camera->codeOf(camera->get_Intent(text.out())), static_cast<LONG>(code));
        ASSERT_NE(text.get(), nullptr);
        EXPECT_EQ(text.view(), u"");
        EXPECT_EQ(camera->error(), static_cast<LONG>(code));  // reading clears nothing
    }
    // A missing print order is no failure.
    EXPECT_CALL(*device, GetDpofFile).WillOnce(testing::Return(DeviceCode::ReadFailed));
    Bstr text;
    EXPECT_EQ(camera->codeOf(camera->get_Dpof(text.out())), 0);
    ASSERT_NE(text.get(), nullptr);
    EXPECT_EQ(camera->get_Dpof(nullptr), E_POINTER);
}

TEST_F(GuardedCall, LetsNoExceptionOut) {
    EXPECT_CALL(*camera->hold(), DeleteFile)
        .WillOnce(testing::Throw(std::bad_alloc()))
        .WillOnce(testing::Throw(std::length_error("x")));
    for (const LONG code : {12, 4}) EXPECT_EQ(camera->codeOf(camera->DeleteFileW(nullptr)), code);
}

}  // namespace
}  // namespace zlk::test
