// The commands info and locked, which tell about one device.

#include "platform/text.h"
#include "tools/zlkcam/DeviceDirectory.h"
#include "tools/zlkcam/MachineTrouble.h"
#include "tools/zlkcam/Session.h"
#include "tools/zlkcam/commands/Commands.h"
#include "tools/zlkcam/commands/DeviceWords.h"

namespace zlk {
namespace {

void runInfo(Tool& tool, const DeviceOption& options) {
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

void runLocked(Tool& tool, const DeviceOption& options) {
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

}  // namespace

void addInfoCommands(CLI::App& app, Tool& tool) {
    addCommand<DeviceOption>(app, "info", "Tell about one device", addDevice,
                             [&tool](const DeviceOption& options) { runInfo(tool, options); });
    addCommand<DeviceOption>(app, "locked", "Whether another program holds a device (status 2)",
                             addDevice,
                             [&tool](const DeviceOption& options) { runLocked(tool, options); });
}

}  // namespace zlk
