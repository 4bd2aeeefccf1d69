#include "device_objects/Escape.h"

#include <string_view>

#include "foundation/Paths.h"
#include "platform/text.h"

namespace zlk {
namespace {

EscapeAnswer notSupported() {
    return {DeviceCode::NotSupported, {}};
}

EscapeAnswer yesOrNo(bool yes) {
    return {DeviceCode::Success, yes ? u"TRUE" : u"FALSE"};
}

EscapeAnswer isConfigRequested(CImageDev& device, std::u16string_view) {
    return yesOrNo(device.CheckForRequestConfigFile());
}

EscapeAnswer isTagSetupRequested(CImageDev& device, std::u16string_view) {
    return yesOrNo(device.CheckForRequestTagSetupFile());
}

EscapeAnswer getDiagFile(CImageDev& device, std::u16string_view) {
    EscapeAnswer answer{DeviceCode::Success, {}};
    device.GetCameraDiagnostic(answer.text);  // a document that can't be read counts as empty
    return answer;
}

EscapeAnswer sendCameraMsg(CImageDev& device, std::u16string_view name) {
    static constexpr struct {
        std::u16string_view name;
        CameraMessage message;
    } messages[] = {
        {u"UnloadStart", CameraMessage::UnloadStart},
        {u"UnloadDone", CameraMessage::UnloadDone},
        {u"UnloadCancel", CameraMessage::UnloadCancel},
        {u"UnloadError", CameraMessage::UnloadError},
        {u"ConfigStart", CameraMessage::ConfigStart},
        {u"ConfigDone", CameraMessage::ConfigDone},
        {u"ConfigCancel", CameraMessage::ConfigCancel},
        {u"ConfigError", CameraMessage::ConfigError},
    };
    // A message that the camera doesn't take gives FALSE. An unknown name isn't supported.
    for (const auto& known : messages)
        if (equalIgnoringCase(name, known.name))
            return yesOrNo(device.SendSpecialMsg(known.message));
    return notSupported();
}

EscapeAnswer isCardInserted(CImageDev& device, std::u16string_view) {
    bool inserted = false;
    return device.IsCardInserted(inserted) ? yesOrNo(inserted) : notSupported();
}

EscapeAnswer noRecursion(CImageDev& device, std::u16string_view) {
    return device.SetRecursion(false) ? yesOrNo(true) : notSupported();
}

}  // namespace

EscapeAnswer answerEscape(CImageDev& device, std::u16string message) {
    static constexpr struct {
        std::u16string_view keyword;
        EscapeAnswer (*answer)(CImageDev& device, std::u16string_view second);
    } keywords[] = {
        {u"CAMERA_IsConfigRequested", isConfigRequested},
        {u"CAMERA_IsTagSetupRequested", isTagSetupRequested},
        {u"CAMERA_GetDiagFile", getDiagFile},
        {u"CAMERA_SendCameraMsg", sendCameraMsg},
        {u"MSDC_IsCardInserted", isCardInserted},
        {u"MSDC_NoRecursion", noRecursion},
    };
    const std::u16string keyword = nextWord(message);
    const std::u16string second = nextWord(message);
    for (const auto& known : keywords)
        if (equalIgnoringCase(keyword, known.keyword)) return known.answer(device, second);
    return notSupported();
}

std::u16string nextWord(std::u16string& rest) {
    const std::u16string text = trimmed(rest);
    if (text.empty()) return {};
    const std::size_t blank = text.find(u' ');
    rest = blank == text.npos ? std::u16string() : trimmed(text.substr(blank));
    return trimmed(text.substr(0, blank));
}

}  // namespace zlk
