// The command adopt: if the user agrees, it adds a row to the camera table for a camera that the
// table doesn't know. With --udev it also writes a rule that keeps desktops' file managers away
// from the camera. A camera that the table knows gets the rule only.

#include <algorithm>
#include <iostream>
#include <optional>

#include "platform/text.h"
#include "tools/zlkcam/CameraRow.h"
#include "tools/zlkcam/DesktopRule.h"
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
    std::string rulesFolder;  ///< empty: the rule is only shown
};

/// The cameras that the user means, one of each model. `known` chooses between those that the
/// camera table knows and those that it doesn't know.
std::vector<UsbCamera> kindsOf(const std::vector<UsbCamera>& cameras, const std::u16string& wanted,
                               bool known) {
    std::vector<UsbCamera> kinds;
    for (const UsbCamera& camera : cameras) {
        const bool isWanted =
            camera.contextId.empty() != known &&
            (wanted.empty() || equalIgnoringCase(usbIdOf(camera.attached), wanted));
        const bool isNew = std::ranges::find(kinds, camera.pnpId, &UsbCamera::pnpId) == kinds.end();
        if (isWanted && isNew) kinds.push_back(camera);
    }
    return kinds;
}

/// Chooses the camera to adopt among those that the table doesn't know. If there is none and a rule
/// is wanted, a camera that the table knows is chosen for the rule. Throws Failure unless exactly
/// one model is meant.
UsbCamera chooseCamera(const DeviceDirectory& directory, const AdoptOptions& options) {
    // Whether a camera is listed doesn't matter here, so no list of devices is needed.
    const std::vector<UsbCamera> cameras = usbCameras(directory, {});
    const std::u16string wanted = wideText(options.camera);
    const bool withRule = !options.rulesFolder.empty();
    std::vector<UsbCamera> kinds = kindsOf(cameras, wanted, false);
    std::string list = "Not known are:";
    if (kinds.empty() && withRule) {
        kinds = kindsOf(cameras, wanted, true);
        list = "Attached are:";
    }
    if (kinds.empty())
        throw Failure(ExitStatus::NotConnected,
                      withRule ? "There is no such camera on USB."
                               : "There is no such camera on USB, or the camera table knows it.",
                      "zlkcam devices tells what is attached.");
    if (kinds.size() == 1) return kinds.front();
    for (const UsbCamera& camera : kinds)
        list += "\n  " +
                utf8Text(usbIdOf(camera.attached) + u"  " + readableText(camera.attached.product));
    throw Failure(ExitStatus::Usage, "There are several such cameras; name one of them.", list);
}

/// Whether a section of the settings, or the list of classes in CtxMgr, has an entry for this
/// product class.
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

/// Whether a product class is in use already: as a row of the table, built in or in the settings,
/// as the class of a dock's camera, or for devices of another kind.
bool isTaken(const DeviceDirectory& directory, const CameraRow& wanted) {
    if (!directory.unloadInterface(wanted.contextId()).empty() || isInSections(wanted.productClass))
        return true;
    const std::vector<std::u16string> keys =
        SettingsStore::subKeysIfAny(SettingsPath(settingsTree));
    return std::any_of(keys.begin(), keys.end(), [&](const std::u16string& key) {
        // The row of a dock names the class under which the camera in the dock is listed.
        const SettingsPath row(std::u16string(settingsTree) + key + u"\\CamInfo");
        const std::u16string dockClass = SettingsStore::text(row, u"PassThruProductClass");
        return equalIgnoringCase(key, wanted.productClass) ||
               equalIgnoringCase(dockClass, wanted.productClass);
    });
}

/// The row that is to be written. Throws Failure if its class or name can't be used, or if the
/// class is taken and --replace isn't given.
CameraRow rowFor(const DeviceDirectory& directory, const UsbCamera& camera,
                 const AdoptOptions& options) {
    CameraRow row(camera);
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
    tool.answer.member("contextId", row.contextId()).member("key", row.key());
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

void show(Tool& tool, const DesktopRule& rule) {
    tool.say("A rule for udev, " + rule.fileName() +
             ", that keeps desktops' file managers off it (--udev writes it):");
    tool.say(rule.text());
    tool.answer.member("rule", rule.text());
}

bool isConfirmed(const Tool& tool) {
    // A program that reads JSON can't answer a question.
    if (tool.json) return false;
    Tool::write("Write it? [y/N] ");
    Tool::flush();
    std::string line;
    std::getline(std::cin, line);
    return line == "y" || line == "Y" || line == "yes";
}

void runAdopt(Tool& tool, const AdoptOptions& options) {
    const DeviceDirectory directory;
    const UsbCamera camera = chooseCamera(directory, options);
    const DesktopRule rule(camera.attached.vid, camera.attached.pid);
    std::optional<CameraRow> row;
    // A camera that is in the table already gets no row, but only the rule.
    if (camera.contextId.empty()) row = rowFor(directory, camera, options);
    tool.answer.beginObject();
    if (row) show(tool, *row);
    show(tool, rule);
    const bool writes = options.yes || isConfirmed(tool);
    if (writes) {
        // The rule comes first, since its folder may need root's rights. If writing the rule fails,
        // the table isn't changed either.
        if (!options.rulesFolder.empty()) {
            const std::u16string file = rule.writeInto(pathArgument(options.rulesFolder));
            tool.say("The rule is in " + utf8Text(file) + ". In " + udevRulesFolder +
                     " it counts when the camera is plugged in again.");
            tool.answer.member("ruleFile", file);
        }
        if (row) {
            SettingsStore::replace(row->settings());
            tool.say(
                "The row is written. Programs that run already see it when they are started "
                "again.");
        }
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
            command
                .add_option("--udev", options.rulesFolder,
                            "also write a rule into this folder, or udev's own, that keeps "
                            "desktops' file managers off the camera; also of one that is known")
                ->expected(0, 1)
                ->default_str(udevRulesFolder)
                ->option_text("[FOLDER]");
            command.add_flag("--yes", options.yes, "write without asking");
        },
        [&tool](const AdoptOptions& options) { runAdopt(tool, options); });
}

}  // namespace zlk
