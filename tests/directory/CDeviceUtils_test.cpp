#include "directory/CDeviceUtils.h"

#include <gmock/gmock.h>

#include "tests/directory/SettingsFixture.h"

namespace zlk::test {
namespace {

class CDeviceUtilsTest : public SettingsFixture {
  protected:
    void SetUp() override {
        registerFake(u"Fake.Device", clsidFakeDevice);
        put(u"Import\\ProductClasses\\Cam539", u"ProgId", u"Fake.Device");
        makeUtils();
    }
    void makeUtils() {
        ASSERT_EQ(createObject<CDeviceUtils>(nullptr, iidOf<IDeviceUtils>,
                                             reinterpret_cast<void**>(utils.out())),
                  S_OK);
    }
    const Bstr cam539{u"#Zephyr-Lanthorn#Cam539#0000"};
    ComPtr<IDeviceUtils> utils;
};

const std::u16string lockCall = u"Lock(#Zephyr-Lanthorn#Cam539#0000);";

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
    {&IDeviceUtils::ContextIdToUnloadInterface, u"#Zephyr-Lanthorn#Cam539#0000", u"Fake.Device"},
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
    const std::u16string own = u"Import\\ProductClasses\\Own";
    put(own, u"MediaCheck", u"aio");
    put(own, u"TSBProgId_v1", u"Own.Tsb");
    put(own, u"FileEnumTimeout", DWORD{0xFFFFFFFF});
    put(own, u"AllowDelete", u"false");
    const Bstr id(u"#a#Own#1");
    Bstr text;
    for (const TextQuestion& q : textQuestions) {
        EXPECT_EQ((utils.get()->*q.method)(Bstr(q.question).get(), text.out()), S_OK);
        EXPECT_EQ(text.view(), q.answer);
        EXPECT_EQ((utils.get()->*q.method)(Bstr(q.question).get(), nullptr), E_POINTER);
        EXPECT_EQ((utils.get()->*q.method)(nullptr, text.out()), S_OK);
        EXPECT_EQ(text.view(), u"");
    }
    LONG passes = 0;
    EXPECT_EQ(utils->ContextIdToFileEnumTimeout(id.get(), &passes), S_OK);
    EXPECT_EQ(passes, -1);
    SHORT allowed = -1;
    EXPECT_EQ(utils->AllowDeleteForContextId(id.get(), &allowed), S_OK);
    EXPECT_EQ(allowed, 0);
    EXPECT_EQ(utils->AllowDeleteForContextId(nullptr, &allowed), S_OK);
    EXPECT_EQ(allowed, 1);
    for (const ShortMethod method : shortMethods)
        EXPECT_EQ((utils.get()->*method)(nullptr, nullptr), E_POINTER);
    EXPECT_EQ(utils->ContextIdToFileEnumTimeout(nullptr, nullptr), E_POINTER);
    EXPECT_EQ(utils->LogCameraInfo(nullptr, nullptr), S_OK);
}

TEST_F(CDeviceUtilsTest, TellsWhetherADeviceIsHeld) {
    put(u"Import\\ProductClasses\\Gone", u"ProgId", u"Fake.None");
    SHORT locked = 7;
    EXPECT_EQ(utils->IsDeviceLocked(cam539.get(), &locked), S_OK);
    EXPECT_EQ(locked, 0);
    EXPECT_EQ(callsOfDevice(), lockCall + u"Unlock;");
    tell(fakeDeviceKey, u"Held", u"yes");
    EXPECT_EQ(utils->IsDeviceLocked(cam539.get(), &locked), S_OK);
    EXPECT_EQ(locked, 1);
    EXPECT_EQ(callsOfDevice(), lockCall);

    locked = 7;
    tell(fakeDeviceKey, u"Held", u"no");
    tell(fakeDeviceKey, u"UnlockFails", u"yes");
    EXPECT_EQ(utils->IsDeviceLocked(cam539.get(), &locked), E_FAIL);
    for (const WCHAR* none : {u"#a#Gone#1", u"#a#b#c", u"#a#b", u""})
        EXPECT_EQ(utils->IsDeviceLocked(Bstr(none).get(), &locked), E_FAIL);
    EXPECT_EQ(locked, 7);
}

TEST_F(CDeviceUtilsTest, AsksCamerasForTheirWishes) {
    put(u"Import\\ProductClasses\\Cam947", u"ProgId", u"Fake.Device");
    struct Case {
        ShortMethod method;
        std::u16string message, answer;
        SHORT asks;
        const WCHAR* end;
    };
    const auto config = &IDeviceUtils::IsDeviceRequestingConfig;
    const auto tagSetup = &IDeviceUtils::IsDeviceRequestingTagSetup;
    for (const Case& c : {Case{config, u"CAMERA_IsConfigRequested", u"true", 1, u"Unlock;"},
                          Case{config, u"CAMERA_IsConfigRequested", u"FALSE", 0, u"Unlock;"},
                          Case{tagSetup, u"CAMERA_IsTagSetupRequested", u"TRUE", 1, u"Unlock;"},
                          Case{tagSetup, u"CAMERA_IsTagSetupRequested", u"", 0, u""}}) {
        tell(fakeDeviceKey, c.message, c.answer);
        SHORT asks = 7;
        EXPECT_EQ((utils.get()->*c.method)(cam539.get(), &asks), S_OK);
        EXPECT_EQ(asks, c.asks);
        EXPECT_EQ(callsOfDevice(), lockCall + c.message + u";" + c.end);
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
    EXPECT_EQ(utils->IsDeviceRequestingTagSetup(cam539.get(), &asks), E_FAIL);
}

TEST_F(CDeviceUtilsTest, LeavesEverythingButTagSetupToADelegate) {
    registerFake(u"Fake.Utils", clsidFakeUtils);
    put(u"Import\\ProductClasses", u"DevUtilsProgId_v1", u"Fake.Utils");
    makeUtils();
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
