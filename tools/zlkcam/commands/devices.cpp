// The commands devices, info, locked and translate, which ask the directory components.

#include <variant>

#include "platform/text.h"
#include "tools/zlkcam/CameraRow.h"
#include "tools/zlkcam/MachineTrouble.h"
#include "tools/zlkcam/Session.h"
#include "tools/zlkcam/UsbCamera.h"
#include "tools/zlkcam/commands/Commands.h"

namespace zlk {
namespace {

struct DevicesOptions {
    bool share = false;
    bool tags = false;
};
struct InfoOptions {
    std::string device;
};
struct TranslateOptions {
    std::string kind;
    std::string text;
};

/// Lists each camera on USB that isn't among the devices or can't be opened, so that a user who
/// misses a camera sees whether it is attached, what is wrong, and what helps.
void tellCameras(Tool& tool, const DeviceDirectory& directory, const std::vector<Device>& devices) {
    tool.answer.key("cameras").beginArray();
    for (const UsbCamera& camera : usbCameras(directory, devices)) {
        const AttachedCamera& attached = camera.attached;
        // In JSON every camera appears, in words only those with a problem.
        const std::vector<CameraTrouble> troubles = troublesOf(camera);
        if (!camera.listed || !troubles.empty())
            tool.say(utf8Text((camera.listed ? u"Listed, but: " : u"On USB: ") +
                              readableText(attached.product) + u"  " + camera.pnpId + u"  " +
                              attached.port));
        tool.answer.beginObject()
            .member("port", attached.port)
            .member("id", camera.pnpId)
            .member("manufacturer", attached.manufacturer)
            .member("product", attached.product)
            .member("serial", attached.serial)
            .member("contextId", camera.contextId)
            .member("listed", camera.listed);
        if (attached.holderProcess != 0)
            tool.answer.member("holderProcess", attached.holderProcess)
                .member("holderProgram", attached.holderProgram);
        tool.answer.key("troubles").beginArray();
        for (const CameraTrouble& trouble : troubles) {
            tool.say("    " + trouble.message + " " + trouble.advice);
            tool.answer.beginObject()
                .member("kind", trouble.kind)
                .member("message", trouble.message)
                .member("advice", trouble.advice)
                .endObject();
        }
        tool.answer.endArray().endObject();
    }
    tool.answer.endArray();
}

void runDevices(Tool& tool, const DevicesOptions& options) {
    const DeviceDirectory directory;
    const std::vector<Device> devices = options.share  ? directory.shareDevices()
                                        : options.tags ? directory.tagDevices()
                                                       : directory.unloadDevices();
    tool.answer.beginObject().key("devices").beginArray();
    for (const Device& device : devices) {
        const std::u16string lowLevelId = directory.lowLevelId(device.contextId);
        tool.say(utf8Text(device.name + u"  " + device.contextId + u"  " + lowLevelId));
        tool.answer.beginObject()
            .member("name", device.name)
            .member("contextId", device.contextId)
            .member("progId", device.progId)
            .member("lowLevelId", lowLevelId)
            .endObject();
    }
    tool.answer.endArray();
    if (devices.empty()) tool.say("There are none.");
    // The lists for share menus and tags have all known devices, attached or not, so a camera that
    // is missing there needs no explanation.
    if (!options.share && !options.tags) tellCameras(tool, directory, devices);
    tool.answer.endObject();
}

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

void runTranslate(Tool& tool, const TranslateOptions& options) {
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

void runLocked(Tool& tool, const InfoOptions& options) {
    const DeviceDirectory directory;
    const Device device = directory.find(wideText(options.device));
    SHORT locked = 0;
    if (directory.utils().IsDeviceLocked(Bstr(device.contextId).get(), &locked) != S_OK)
        throw Failure(ExitStatus::NotSupported,
                      utf8Text(device.name) + " can't be asked whether it is held.");
    // The component also returns "locked" if the claim can't be examined on this computer.
    if (const auto failure = locked ? claimFailure() : std::nullopt) throw *failure;
    tool.say(utf8Text(device.name) + (locked ? " is held by another program." : " is free."));
    tool.answer.beginObject()
        .member("contextId", device.contextId)
        .member("locked", locked != 0)
        .endObject();
    if (locked) tool.status = ExitStatus::DeviceHeld;
}

void runInfo(Tool& tool, const InfoOptions& options) {
    const DeviceDirectory directory;
    const PhotoSession session(directory.find(wideText(options.device)));
    const Device& device = session.device();
    session.requireAnswer();
    tool.answer.beginObject();
    const auto tell = [&](const char* key, const char* title, const std::u16string& text) {
        tool.say(std::string(title) + ": " + (text.empty() ? "-" : utf8Text(text)));
        tool.answer.member(key, text);
    };
    const auto tellTruth = [&](const char* key, const char* title, bool truth) {
        tool.say(std::string(title) + ": " + (truth ? "yes" : "no"));
        tool.answer.member(key, truth);
    };
    tell("name", "Name", device.name);
    tell("contextId", "Context id", device.contextId);
    tell("progId", "Class", device.progId);
    tell("lowLevelId", "Reached by", directory.lowLevelId(device.contextId));
    tellTruth("media", "Card inserted", session.hasMedia());
    tellTruth("allowDelete", "May delete", directory.allowsDelete(device.contextId));
    tellTruth("configRequested", "Asks for a share menu",
              session.escape(u"CAMERA_IsConfigRequested") == u"TRUE");
    tellTruth("tagSetupRequested", "Asks for a tag list",
              session.escape(u"CAMERA_IsTagSetupRequested") == u"TRUE");
    Bstr identity;  // a card needn't have one
    session->get_DeviceId(identity.out());
    tell("deviceId", "Identification", std::u16string(identity.view()));
    tool.answer.endObject();
}

void addDevice(CLI::App& command, InfoOptions& options) {
    command.add_option("device", options.device, deviceHelp);
}

}  // namespace

void addDeviceCommands(CLI::App& app, Tool& tool) {
    addCommand<DevicesOptions>(
        app, "devices", "List the cameras and cards that are attached",
        [](CLI::App& command, DevicesOptions& options) {
            auto* share =
                command.add_flag("--share", options.share, "known devices that take a share menu");
            command.add_flag("--tags", options.tags, "known devices that take a tag list")
                ->excludes(share);
        },
        [&tool](const DevicesOptions& options) { runDevices(tool, options); });
    addCommand<InfoOptions>(app, "info", "Tell about one device", addDevice,
                            [&tool](const InfoOptions& options) { runInfo(tool, options); });
    addCommand<InfoOptions>(app, "locked", "Whether another program holds a device (status 2)",
                            addDevice,
                            [&tool](const InfoOptions& options) { runLocked(tool, options); });
    addCommand<TranslateOptions>(
        app, "translate", "Translate between the names of a device",
        [](CLI::App& command, TranslateOptions& options) {
            command.add_option("kind", options.kind, "see below")->required();
            command.add_option("text", options.text, "what to translate")->required();
            command.footer(translationHelp());
        },
        [&tool](const TranslateOptions& options) { runTranslate(tool, options); });
}

}  // namespace zlk
