// The command devices, which lists what is attached, or which devices take a menu or a tag list.

#include "platform/text.h"
#include "tools/zlkcam/CameraRow.h"
#include "tools/zlkcam/DeviceDirectory.h"
#include "tools/zlkcam/UsbCamera.h"
#include "tools/zlkcam/commands/Commands.h"

namespace zlk {
namespace {

struct Options {
    bool share = false;
    bool tags = false;
};

/// Lists the cameras on USB, so that a user who misses one sees whether it is attached, what is
/// wrong, and what helps.
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

void runDevices(Tool& tool, const Options& options) {
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
    // The lists for share menus and tags have devices from the settings, attached or not, so a
    // camera that is missing there needs no explanation.
    if (!options.share && !options.tags) tellCameras(tool, directory, devices);
    tool.answer.endObject();
}

}  // namespace

void addDevicesCommand(CLI::App& app, Tool& tool) {
    addCommand<Options>(
        app, "devices", "List the cameras and cards that are attached",
        [](CLI::App& command, Options& options) {
            auto* share =
                command.add_flag("--share", options.share, "known devices that take a share menu");
            command.add_flag("--tags", options.tags, "known devices that take a tag list")
                ->excludes(share);
        },
        [&tool](const Options& options) { runDevices(tool, options); });
}

}  // namespace zlk
