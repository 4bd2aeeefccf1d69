// adopt: a row of the camera table for a camera that it doesn't know.

#include <algorithm>
#include <iostream>

#include "platform/text.h"
#include "tools/zlkcam/CameraRow.h"
#include "tools/zlkcam/SettingsStore.h"
#include "tools/zlkcam/Text.h"
#include "tools/zlkcam/commands/Commands.h"

namespace zlk {
namespace {

struct AdoptOptions {
    std::string camera;
    std::string productClass;
    std::string name;
    bool share = false;
    bool replace = false;
    bool yes = false;
};

/// As lsusb tells it.
std::u16string usbId(const UsbCamera& camera) {
    return formatText(u"%04X:%04X", camera.attached.vid, camera.attached.pid);
}

/// The one kind of camera that is to be adopted, of those that nobody knows.
UsbCamera chooseCamera(const DeviceDirectory& directory, const std::u16string& wanted) {
    std::vector<UsbCamera> unknown;
    std::string list = "Not known are:";
    for (const UsbCamera& camera : usbCameras(directory, {})) {
        const bool isWanted = wanted.empty() || equalIgnoringCase(usbId(camera), wanted);
        const bool isNew =
            camera.contextId.empty() &&
            std::none_of(unknown.begin(), unknown.end(),
                         [&](const UsbCamera& other) { return other.pnpId == camera.pnpId; });
        if (!isWanted || !isNew) continue;
        list += "\n  " + utf8Text(usbId(camera) + u"  " + readableText(camera.attached.product));
        unknown.push_back(camera);
    }
    if (unknown.empty())
        throw Failure(ExitStatus::NotConnected,
                      "There is no such camera on USB, or the camera table knows it.",
                      "zlkcam devices tells what is attached.");
    if (unknown.size() > 1)
        throw Failure(ExitStatus::Usage, "There are several such cameras; name one of them.", list);
    return unknown.front();
}

/// Whether a section of the settings says something of the class.
bool isInSections(std::u16string_view productClass) {
    for (const std::u16string_view section : settingsSections) {
        const SettingsPath classes(
            std::u16string(settingsTree).append(section).append(u"\\ProductClasses"));
        for (const std::u16string& name : SettingsStore::subKeysIfAny(classes))
            if (equalIgnoringCase(name, productClass)) return true;
    }
    const SettingsPath marks(std::u16string(settingsTree) + u"CtxMgr\\ProductClasses");
    return !SettingsStore::text(marks, productClass).empty();
}

/// Whether the class stands for something already: a row of the settings or a built-in one, or
/// devices of another kind.
bool isTaken(const DeviceDirectory& directory, const CameraRow& wanted) {
    if (!directory.unloadInterface(wanted.contextId()).empty() || isInSections(wanted.productClass))
        return true;
    const std::vector<std::u16string> keys =
        SettingsStore::subKeysIfAny(SettingsPath(settingsTree));
    return std::any_of(keys.begin(), keys.end(), [&](const std::u16string& key) {
        const SettingsPath row(std::u16string(settingsTree) + key + u"\\CamInfo");
        const std::u16string dockClass = SettingsStore::text(row, u"PassThruProductClass");
        return equalIgnoringCase(key, wanted.productClass) ||
               equalIgnoringCase(dockClass, wanted.productClass);
    });
}

CameraRow rowFor(const DeviceDirectory& directory, const AdoptOptions& options) {
    CameraRow row(chooseCamera(directory, wideText(options.camera)));
    if (!options.productClass.empty()) row.productClass = wideText(options.productClass);
    if (!options.name.empty()) row.name = readableText(wideText(options.name), longestName);
    row.share = options.share;
    if (!isProductClass(row.productClass) || row.name.empty())
        throw Failure(ExitStatus::Usage, "That class or name can't be used.",
                      "A class has up to 40 letters, digits, _ and -, and is none of the settings' "
                      "own keys.");
    if (!options.replace && isTaken(directory, row))
        throw Failure(ExitStatus::NotAdopted,
                      "The product class " + utf8Text(row.productClass) + " is taken.",
                      "Take another one: --class NAME. Or put this camera in its place: --replace");
    return row;
}

void show(Tool& tool, const CameraRow& row) {
    tool.say("A row of the camera table, " + utf8Text(row.contextId()) + ":");
    tool.say("  " + utf8Text(row.key()));
    tool.answer.beginObject().member("contextId", row.contextId()).member("key", row.key());
    tool.answer.key("values").beginObject();
    const SettingsKey written = row.settings();
    for (const SettingsValue& value : written.values) {
        std::u16string text;
        dataText(value.data, text);
        tool.say("    " + utf8Text(value.name + u" = " + text));
        tool.answer.member(utf8Text(value.name), text);
    }
    tool.answer.endObject();
}

bool isConfirmed(const Tool& tool) {
    if (tool.json) return false;
    Tool::write("Write it? [y/N] ");
    Tool::flush();
    std::string line;
    std::getline(std::cin, line);
    return line == "y" || line == "Y" || line == "yes";
}

void runAdopt(Tool& tool, const AdoptOptions& options) {
    const DeviceDirectory directory;
    const CameraRow row = rowFor(directory, options);
    show(tool, row);
    const bool writes = options.yes || isConfirmed(tool);
    if (writes) {
        SettingsStore::replace(row.settings());
        tool.say("It is written. Programs that run already see it when they are started again.");
    } else {
        tool.warn("Nothing is written. --yes writes it without asking.");
        tool.status = ExitStatus::NotAdopted;
    }
    tool.answer.member("written", writes).endObject();
}

}  // namespace

void addAdoptCommand(CLI::App& app, Tool& tool) {
    addCommand<AdoptOptions>(
        app, "adopt", "Give a camera on USB that isn't known a row of the camera table",
        [](CLI::App& command, AdoptOptions& options) {
            command.add_option("camera", options.camera,
                               "USB ids, as in 5AF1:7C36; may be left out when there is only one");
            command.add_option("--class", options.productClass,
                               "product class; else made from what the camera calls itself");
            command.add_option("--name", options.name, "the name to show");
            command.add_flag("--share", options.share,
                             "it takes a share menu, and tells its clock and diagnostics");
            command.add_flag("--replace", options.replace,
                             "put it in the place of a row with the same class");
            command.add_flag("--yes", options.yes, "write the row without asking");
        },
        [&tool](const AdoptOptions& options) { runAdopt(tool, options); });
}

}  // namespace zlk
