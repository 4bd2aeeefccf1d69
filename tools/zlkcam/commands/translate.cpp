// The command translate, which tells a name or a property of a device, given another of its names.

#include <variant>

#include "platform/text.h"
#include "tools/zlkcam/DeviceDirectory.h"
#include "tools/zlkcam/commands/Commands.h"

namespace zlk {
namespace {

struct Options {
    std::string kind;
    std::string text;
};

using TextAnswer = HRESULT (IDeviceUtils::*)(BSTR, BSTR*) noexcept;
using ShortAnswer = HRESULT (IDeviceUtils::*)(BSTR, SHORT*) noexcept;
using LongAnswer = HRESULT (IDeviceUtils::*)(BSTR, LONG*) noexcept;

/// One of the component's translations, with its name on the command line.
struct Translation {
    const char* kind;
    const char* description;
    std::variant<TextAnswer, ShortAnswer, LongAnswer> method;
};

const Translation translations[] = {
    {"drive", "drive root (E:\\) to context id", &IDeviceUtils::DriveLetterToContextId},
    {"vidpid", "VID_xxxx&PID_xxxx to context id", &IDeviceUtils::CameraVidPidToContextId},
    {"lowlevel", "how the device is reached now", &IDeviceUtils::ContextIdToLowLevelId},
    {"progid", "class that works on the device", &IDeviceUtils::ContextIdToUnloadInterface},
    {"name", "the device's name", &IDeviceUtils::ContextIdToName},
    {"port", "port of a camera", &IDeviceUtils::ContextIdToCameraPort},
    {"map", "camera behind a pass-through device", &IDeviceUtils::MapContextId},
    {"media", "how to test for a card", &IDeviceUtils::ContextIdToCheckMediaMethod},
    {"tsb", "class of its settings page", &IDeviceUtils::ContextIdToTSBInterface},
    {"timeout", "seconds to wait for files", &IDeviceUtils::ContextIdToFileEnumTimeout},
    {"delete", "1 if files may be deleted", &IDeviceUtils::AllowDeleteForContextId},
    {"config", "1 if the camera asks for a share menu", &IDeviceUtils::IsDeviceRequestingConfig},
    {"tagsetup", "1 if the camera asks for a tag list", &IDeviceUtils::IsDeviceRequestingTagSetup},
};

std::string translationHelp() {
    std::string text = "Kinds:";
    for (const Translation& translation : translations)
        text += std::string("\n  ") + translation.kind + ": " + translation.description;
    return text;
}

/// Calls the translation and returns its answer as text. Throws Failure if it fails.
std::u16string translate(IDeviceUtils& utils, const Translation& translation,
                         const std::u16string& text) {
    const Bstr in(text);
    HRESULT result = S_OK;
    std::u16string answer;
    if (const auto* method = std::get_if<TextAnswer>(&translation.method)) {
        Bstr out;
        result = (utils.**method)(in.get(), out.out());
        answer = out.view();
    } else if (const auto* number = std::get_if<LongAnswer>(&translation.method)) {
        LONG out = 0;
        result = (utils.**number)(in.get(), &out);
        answer = wideText(std::to_string(out));
    } else {
        SHORT out = 0;
        result = (utils.*std::get<ShortAnswer>(translation.method))(in.get(), &out);
        answer = wideText(std::to_string(out));
    }
    if (FAILED(result))
        throw Failure(ExitStatus::NotSupported,
                      "\"" + utf8Text(text) + "\" stands for no device that can be asked.");
    return answer;
}

void runTranslate(Tool& tool, const Options& options) {
    for (const Translation& translation : translations) {
        if (options.kind != translation.kind) continue;
        const auto utils = createComponent<IDeviceUtils>(u"ZlkCamTr.DeviceUtils");
        const std::u16string answer = translate(*utils.get(), translation, wideText(options.text));
        tool.say(utf8Text(answer));
        tool.answer.beginObject()
            .member("kind", options.kind)
            .member("text", options.text)
            .member("answer", answer)
            .endObject();
        return;
    }
    throw Failure(ExitStatus::Usage, "There is no kind of translation \"" + options.kind + "\".",
                  "The kinds: zlkcam translate --help");
}

}  // namespace

void addTranslateCommand(CLI::App& app, Tool& tool) {
    addCommand<Options>(
        app, "translate", "Translate between the names of a device",
        [](CLI::App& command, Options& options) {
            command.add_option("kind", options.kind, "see below")->required();
            command.add_option("text", options.text, "what to translate")->required();
            command.footer(translationHelp());
        },
        [&tool](const Options& options) { runTranslate(tool, options); });
}

}  // namespace zlk
