// What a camera hears of a share or tag dialogue, and when.

#include "device_objects/CSPostDevice.h"
#include "device_objects/CTagDevice.h"
#include "tests/device_objects/ScriptedDevice.h"

namespace zlk::test {
namespace {

using testing::Return;

/// Runs the letters of a dialogue: r read, R read that fails, w write, W write that fails, u
/// unlock, g the device goes. The object is released at the end.
template <class Object, class Read, class Write>
void run(const std::string& dialogue, std::vector<std::int32_t> messages, Read get, Write put) {
    SCOPED_TRACE(dialogue);
    auto object = makeObject<Object>();
    auto device = object->hold();
    DeviceCode code = DeviceCode::Success;
    ON_CALL(*device, GetShareMenu).WillByDefault([&](auto&) { return code; });
    ON_CALL(*device, PutShareMenu).WillByDefault([&](auto) { return code; });
    ON_CALL(*device, GetTagMenu).WillByDefault([&](auto&) { return code; });
    ON_CALL(*device, PutTagMenu).WillByDefault([&](auto) { return code; });
    std::vector<std::int32_t> heard;
    ON_CALL(*device, SendSpecialMsg).WillByDefault([&](CameraMessage message) {
        heard.push_back(static_cast<std::int32_t>(message));
        return false;  // which nobody minds
    });
    for (const char step : dialogue) {
        const bool gone = step == 'g';
        code = step == 'R' || step == 'W' ? DeviceCode::ReadFailed : DeviceCode::Success;
        ON_CALL(*device, CheckConnection).WillByDefault(Return(!gone));
        Bstr text;
        HRESULT result = E_UNEXPECTED;
        if (step == 'u') {
            result = object->UnlockDevice();
        } else if (step == 'w' || step == 'W') {
            result = (object.get()->*put)(text.get());
        } else {
            result = (object.get()->*get)(text.out());
        }
        EXPECT_EQ(result, gone || code != DeviceCode::Success ? E_FAIL : S_OK);
    }
    object.reset();
    EXPECT_EQ(heard, messages);
}

TEST(ShareDialogue, EndsAtUnlock) {
    const auto share = [](const std::string& dialogue, std::vector<std::int32_t> messages) {
        run<CSPostDevice>(dialogue, std::move(messages), &CSPostDevice::get_ShareMenu,
                          &CSPostDevice::put_ShareMenu);
    };
    share("ru", {101, 103});
    share("rwu", {101, 102});
    share("rWu", {101, 102});
    share("Ru", {101, 103});
    share("rr", {101, 101, 103});
    share("rw", {101, 102});
    share("wu", {});
    share("u", {});
    share("rg", {101});
}

TEST(TagDialogue, EndsWithTheWrite) {
    const auto tag = [](const std::string& dialogue, std::vector<std::int32_t> messages) {
        run<CTagDevice>(dialogue, std::move(messages), &CTagDevice::get_TagList,
                        &CTagDevice::put_TagList);
    };
    tag("ru", {201, 203});
    tag("rwu", {201, 202});
    tag("rWu", {201});
    tag("Ru", {201, 203});
    tag("r", {201, 203});
    tag("wu", {202});
    tag("Wu", {});
    tag("rg", {201});
}

}  // namespace
}  // namespace zlk::test
