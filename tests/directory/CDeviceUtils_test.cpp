#include "directory/CDeviceUtils.h"

#include <gmock/gmock.h>

#include "tests/directory/FakesFixture.h"

namespace zlk::test {
namespace {

class CDeviceUtilsTest : public FakesFixture {
  protected:
    static ComPtr<IDeviceUtils> makeUtils() {
        ComPtr<IDeviceUtils> utils;
        EXPECT_EQ(createObject<CDeviceUtils>(nullptr, iidOf<IDeviceUtils>,
                                             reinterpret_cast<void**>(utils.out())),
                  S_OK);
        return utils;
    }
};

using TextMethod = HRESULT (IDeviceUtils::*)(BSTR, BSTR*);
using ShortMethod = HRESULT (IDeviceUtils::*)(BSTR, SHORT*);

/// Every method from a text to a text, with a question that has an answer.
struct TextQuestion {
    TextMethod method;
    const WCHAR *question, *answer;
};
const TextQuestion textQuestions[] = {
    {&IDeviceUtils::DriveLetterToContextId, u"G", u"#Zephyr-Lanthorn#Cam947#0000"},
    {&IDeviceUtils::ContextIdToLowLevelId, u"#Zephyr-Lanthorn#RemovableDrive#e", u"E:\\"},
    {&IDeviceUtils::ContextIdToUnloadInterface, u"#Zephyr-Lanthorn#Cam539#0000",
     u"ZlkCamTr.UnloadableCamera"},
    {&IDeviceUtils::ContextIdToName, u"#Zephyr-Lanthorn#RemovableDrive#Y", u"Y:\\"},
    {&IDeviceUtils::CameraVidPidToContextId, u"USB\\VID_5AF1&PID_7C36",
     u"#Zephyr-Lanthorn#Cam539#0000"},
    {&IDeviceUtils::ContextIdToCheckMediaMethod, u"#a#Own#1", u"AIO"},
    {&IDeviceUtils::ContextIdToCameraPort, u"#Zephyr-Lanthorn#Cam539#0000", u""},
    {&IDeviceUtils::MapContextId, u"#a#Own#1", u"#a#Own#1"},
    {&IDeviceUtils::ContextIdToTSBInterface, u"#a#Own#1", u"Own.Tsb"},
};
constexpr ShortMethod shortMethods[] = {&IDeviceUtils::IsDeviceLocked,
                                        &IDeviceUtils::IsDeviceRequestingConfig,
                                        &IDeviceUtils::AllowDeleteForContextId};

TEST_F(CDeviceUtilsTest, Answers) {
    mount(u'G', u"", u"ZL", u"USB CAMERA");
    put(u"Import\\ProductClasses\\Own", u"MediaCheck", u"aio");
    put(u"Import\\ProductClasses\\Own", u"TSBProgId_v1", u"Own.Tsb");
    put(u"Import\\ProductClasses\\Own", u"FileEnumTimeout", DWORD{0xFFFFFFFF});
    put(u"Import\\ProductClasses\\Own", u"AllowDelete", u"false");
    const auto utils = makeUtils();
    Bstr text;
    for (const TextQuestion& q : textQuestions) {
        EXPECT_EQ((utils.get()->*q.method)(Bstr(q.question).get(), text.out()), S_OK);
        EXPECT_EQ(text.view(), q.answer);
        EXPECT_EQ((utils.get()->*q.method)(Bstr(q.question).get(), nullptr), E_POINTER);
        EXPECT_EQ((utils.get()->*q.method)(nullptr, text.out()), S_OK);
        EXPECT_EQ(text.view(), u"");
    }
    LONG passes = 0;
    EXPECT_EQ(utils->ContextIdToFileEnumTimeout(Bstr(u"#a#Own#1").get(), &passes), S_OK);
    EXPECT_EQ(passes, -1);
    SHORT allowed = -1;
    EXPECT_EQ(utils->AllowDeleteForContextId(Bstr(u"#a#Own#1").get(), &allowed), S_OK);
    EXPECT_EQ(allowed, 0);
    EXPECT_EQ(utils->AllowDeleteForContextId(nullptr, &allowed), S_OK);
    EXPECT_EQ(allowed, 1);
    for (const ShortMethod method : shortMethods)
        EXPECT_EQ((utils.get()->*method)(nullptr, nullptr), E_POINTER);
    EXPECT_EQ(utils->ContextIdToFileEnumTimeout(nullptr, nullptr), E_POINTER);
    EXPECT_EQ(utils->LogCameraInfo(nullptr, nullptr), S_OK);
}

TEST_F(CDeviceUtilsTest, TellsWhetherADeviceIsHeld) {
    registerFake(u"Fake.Device", clsidFakeDevice);
    put(u"Import\\ProductClasses\\Cam539", u"ProgId", u"Fake.Device");
    put(u"Import\\ProductClasses\\Gone", u"ProgId", u"Fake.None");
    const Bstr id(u"#Zephyr-Lanthorn#Cam539#0000");
    const auto utils = makeUtils();
    SHORT locked = 7;
    EXPECT_EQ(utils->IsDeviceLocked(id.get(), &locked), S_OK);
    EXPECT_EQ(locked, 0);
    EXPECT_EQ(callsOfDevice(), u"Lock(#Zephyr-Lanthorn#Cam539#0000);Unlock;");
    tell(fakeDeviceKey, u"Held", u"yes");
    EXPECT_EQ(utils->IsDeviceLocked(id.get(), &locked), S_OK);
    EXPECT_EQ(locked, 1);
    EXPECT_EQ(callsOfDevice(), u"Lock(#Zephyr-Lanthorn#Cam539#0000);");

    locked = 7;
    tell(fakeDeviceKey, u"Held", u"no");
    tell(fakeDeviceKey, u"UnlockFails", u"yes");
    EXPECT_EQ(utils->IsDeviceLocked(id.get(), &locked), E_FAIL);
    for (const WCHAR* none : {u"#a#Gone#1", u"#a#b#c", u"#a#b", u""})
        EXPECT_EQ(utils->IsDeviceLocked(Bstr(none).get(), &locked), E_FAIL);
    EXPECT_EQ(locked, 7);
}

TEST_F(CDeviceUtilsTest, AsksCamerasForTheirWishes) {
    registerFake(u"Fake.Device", clsidFakeDevice);
    put(u"Import\\ProductClasses\\Cam539", u"ProgId", u"Fake.Device");
    put(u"Import\\ProductClasses\\Cam947", u"ProgId", u"Fake.Device");
    const Bstr id(u"#Zephyr-Lanthorn#Cam539#0000");
    const auto utils = makeUtils();
    struct Case {
        ShortMethod method;
        const WCHAR *message, *answer;
        SHORT asks;
        const WCHAR* calls;
    };
    const std::u16string lock = u"Lock(#Zephyr-Lanthorn#Cam539#0000);";
    for (const Case& c : {
             Case{&IDeviceUtils::IsDeviceRequestingConfig, u"CAMERA_IsConfigRequested", u"true", 1,
                  u"CAMERA_IsConfigRequested;Unlock;"},
             Case{&IDeviceUtils::IsDeviceRequestingConfig, u"CAMERA_IsConfigRequested", u"FALSE", 0,
                  u"CAMERA_IsConfigRequested;Unlock;"},
             Case{&IDeviceUtils::IsDeviceRequestingTagSetup, u"CAMERA_IsTagSetupRequested", u"TRUE",
                  1, u"CAMERA_IsTagSetupRequested;Unlock;"},
             Case{&IDeviceUtils::IsDeviceRequestingTagSetup, u"CAMERA_IsTagSetupRequested", u"", 0,
                  u"CAMERA_IsTagSetupRequested;"},
         }) {
        tell(fakeDeviceKey, c.message, c.answer);
        SHORT asks = 7;
        EXPECT_EQ((utils.get()->*c.method)(id.get(), &asks), S_OK);
        EXPECT_EQ(asks, c.asks);
        EXPECT_EQ(callsOfDevice(), lock + c.calls);
    }
    // No pnp id, no question.
    for (const WCHAR* other : {u"#Zephyr-Lanthorn#Cam947#0000", u"#a#Cam539#0000", u""}) {
        SHORT asks = 7;
        EXPECT_EQ(utils->IsDeviceRequestingConfig(Bstr(other).get(), &asks), S_OK);
        EXPECT_EQ(asks, 0);
    }
    EXPECT_EQ(callsOfDevice(), u"");
    put(u"Import\\ProductClasses\\Cam539", u"ProgId", u"Fake.None");
    SHORT asks = 7;
    EXPECT_EQ(utils->IsDeviceRequestingTagSetup(id.get(), &asks), E_FAIL);
}

TEST_F(CDeviceUtilsTest, LeavesEverythingButTagSetupToADelegate) {
    registerFake(u"Fake.Utils", clsidFakeUtils);
    put(u"Import\\ProductClasses", u"DevUtilsProgId_v1", u"Fake.Utils");
    const auto utils = makeUtils();
    Bstr text;
    for (const TextQuestion& q : textQuestions) {
        EXPECT_EQ((utils.get()->*q.method)(Bstr(q.question).get(), text.out()), S_FALSE);
        EXPECT_EQ(text.view(), u"delegate");
    }
    for (const ShortMethod method : shortMethods) {
        SHORT number = 0;
        EXPECT_EQ((utils.get()->*method)(nullptr, &number), S_FALSE);
        EXPECT_EQ(number, 7);
    }
    LONG passes = 0;
    EXPECT_EQ(utils->ContextIdToFileEnumTimeout(nullptr, &passes), S_FALSE);
    EXPECT_EQ(passes, 7);
    EXPECT_EQ(utils->LogCameraInfo(nullptr, nullptr), S_FALSE);
    SHORT config = 7;
    EXPECT_EQ(utils->IsDeviceRequestingTagSetup(nullptr, &config), S_OK);
    EXPECT_EQ(config, 0);
}

}  // namespace
}  // namespace zlk::test
