#include "directory/CDeviceUtils.h"

#include <gmock/gmock.h>

#include "platform/text.h"
#include "tests/directory/SettingsFixture.h"

namespace zlk::test {
namespace {

using TextMethod = HRESULT (IDeviceUtils::*)(BSTR, BSTR*);
using ShortMethod = HRESULT (IDeviceUtils::*)(BSTR, SHORT*);

/// A result, and the number that came with it; 7 where none did.
using Number = std::pair<HRESULT, int>;
constexpr int none = 7;

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
    Number ask(ShortMethod method, const WCHAR* id) {
        SHORT number = none;
        const HRESULT result = (utils.get()->*method)(Bstr(id).get(), &number);
        return {result, number};
    }
    ComPtr<IDeviceUtils> utils;
};

constexpr WCHAR cam539[] = u"#Zephyr-Lanthorn#Cam539#0000";
const std::u16string lockCall = u"Lock(#Zephyr-Lanthorn#Cam539#0000);";

/// Every method from a text to a text, with a question that has an answer.
struct TextQuestion {
    TextMethod method;
    const WCHAR *question, *answer;
};
const TextQuestion textQuestions[] = {
    {&IDeviceUtils::DriveLetterToContextId, u"G", u"#Zephyr-Lanthorn#Cam947#0000"},
    {&IDeviceUtils::ContextIdToLowLevelId, u"#Zephyr-Lanthorn#RemovableDrive#e", u"E:\\"},
    {&IDeviceUtils::ContextIdToUnloadInterface, cam539, u"Fake.Device"},
    {&IDeviceUtils::ContextIdToName, u"#Zephyr-Lanthorn#RemovableDrive#Y", u"Y:\\"},
    {&IDeviceUtils::CameraVidPidToContextId, u"USB\\VID_5AF1&PID_7C36", cam539},
    {&IDeviceUtils::ContextIdToCheckMediaMethod, u"#a#Own#1", u"AIO"},
    {&IDeviceUtils::ContextIdToCameraPort, cam539, u""},
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
    EXPECT_EQ(ask(&IDeviceUtils::AllowDeleteForContextId, u"#a#Own#1"), Number(S_OK, 0));
    EXPECT_EQ(ask(&IDeviceUtils::AllowDeleteForContextId, u""), Number(S_OK, 1));
    for (const ShortMethod method : shortMethods)
        EXPECT_EQ((utils.get()->*method)(nullptr, nullptr), E_POINTER);
    EXPECT_EQ(utils->ContextIdToFileEnumTimeout(nullptr, nullptr), E_POINTER);
    EXPECT_EQ(utils->LogCameraInfo(nullptr, nullptr), S_OK);
}

TEST_F(CDeviceUtilsTest, TellsWhetherADeviceIsHeld) {
    const auto locked = &IDeviceUtils::IsDeviceLocked;
    put(u"Import\\ProductClasses\\Gone", u"ProgId", u"Fake.None");
    EXPECT_EQ(ask(locked, cam539), Number(S_OK, 0));
    EXPECT_EQ(callsOfDevice(), lockCall + u"Unlock;");
    tell(fakeDeviceKey, u"Held", u"yes");
    EXPECT_EQ(ask(locked, cam539), Number(S_OK, 1));
    EXPECT_EQ(callsOfDevice(), lockCall);

    tell(fakeDeviceKey, u"Held", u"no");
    tell(fakeDeviceKey, u"UnlockFails", u"yes");
    for (const WCHAR* id : {cam539, u"#a#Gone#1", u"#a#b#c", u"#a#b", u""})
        EXPECT_EQ(ask(locked, id), Number(E_FAIL, none)) << utf8Text(id);
}

TEST_F(CDeviceUtilsTest, AsksCamerasForTheirWishes) {
    put(u"Import\\ProductClasses\\Cam947", u"ProgId", u"Fake.Device");
    const auto config = &IDeviceUtils::IsDeviceRequestingConfig;
    const auto tagSetup = &IDeviceUtils::IsDeviceRequestingTagSetup;
    const struct {
        ShortMethod method;
        std::u16string message, answer;
        int asks;
        const WCHAR* end;
    } cases[] = {{config, u"CAMERA_IsConfigRequested", u"true", 1, u"Unlock;"},
                 {config, u"CAMERA_IsConfigRequested", u"FALSE", 0, u"Unlock;"},
                 {tagSetup, u"CAMERA_IsTagSetupRequested", u"TRUE", 1, u"Unlock;"},
                 {tagSetup, u"CAMERA_IsTagSetupRequested", u"", 0, u""}};
    for (const auto& c : cases) {
        tell(fakeDeviceKey, c.message, c.answer);
        EXPECT_EQ(ask(c.method, cam539), Number(S_OK, c.asks)) << utf8Text(c.answer);
        EXPECT_EQ(callsOfDevice(), lockCall + c.message + u";" + c.end);
    }
    // No pnp id, no question.
    for (const WCHAR* other : {u"#Zephyr-Lanthorn#Cam947#0000", u"#a#Cam539#0000", u""})
        EXPECT_EQ(ask(config, other), Number(S_OK, 0)) << utf8Text(other);
    EXPECT_EQ(callsOfDevice(), u"");
    put(u"Import\\ProductClasses\\Cam539", u"ProgId", u"Fake.None");
    EXPECT_EQ(ask(tagSetup, cam539).first, E_FAIL);
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
    for (const ShortMethod method : shortMethods)
        EXPECT_EQ(ask(method, cam539), Number(S_FALSE, 8));
    LONG passes = 0;
    EXPECT_EQ(utils->ContextIdToFileEnumTimeout(nullptr, &passes), S_FALSE);
    EXPECT_EQ(passes, 8);
    EXPECT_EQ(utils->LogCameraInfo(nullptr, nullptr), S_FALSE);
    EXPECT_EQ(ask(&IDeviceUtils::IsDeviceRequestingTagSetup, u""), Number(S_OK, 0));
}

}  // namespace
}  // namespace zlk::test
