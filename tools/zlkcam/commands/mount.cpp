// The commands mount and unmount, for folders that stand in for a card.

#include "platform/card_mounts.h"
#include "tools/zlkcam/DeviceDirectory.h"
#include "tools/zlkcam/MachineTrouble.h"
#include "tools/zlkcam/SettingsStore.h"
#include "tools/zlkcam/Text.h"
#include "tools/zlkcam/commands/Commands.h"

namespace zlk {
namespace {

struct MountOptions {
    std::string folder;
    std::string letter;
    std::string label;
    std::string vendor;
    std::string product;
    bool cdrom = false;
};

/// The letter in upper case; 0 if none was given, so that the platform chooses one. Throws Failure
/// (Usage) if the text is no drive letter.
WCHAR letterOf(const std::string& text) {
    if (text.empty()) return 0;
    const std::u16string letter = wideText(text);
    const bool good = letter.size() <= 3 && DeviceDirectory::isDeviceName(letter);
    if (!good || letter[0] == u'#')
        throw Failure(ExitStatus::Usage, "\"" + text + "\" is no drive letter.",
                      "Take a letter from B to Y, as in --letter E");
    return upperCase(letter[0]);
}

[[noreturn]] void throwMountFailure(const std::u16string& folder, const std::string& letter) {
    const DWORD error = GetLastError();
    switch (error) {
        case ERROR_DIRECTORY:
            throw Failure(ExitStatus::FileUnusable, "There is no folder " + utf8Text(folder) + ".");
        case ERROR_ALREADY_EXISTS:
            throw Failure(ExitStatus::Usage, "The drive letter " + letter + " is taken.",
                          "Take another letter, or none: the first free one is found.");
        case ERROR_INVALID_DRIVE:
            throw Failure(ExitStatus::Usage, "That drive letter can't be given, or none is free.",
                          "Letters from B to Y can. zlkcam unmount gives one back.");
        case ERROR_INVALID_PARAMETER:
            throw Failure(ExitStatus::Usage, "The label, vendor or product is too long.",
                          "A label has 32 characters at most.");
        default:
            throw settingsFailure("The folder can't be mounted", error);
    }
}

/// Writes the instance entry that the settings need for a card to be listed as the camera of its
/// vendor and product, and returns the camera's context id. Without vendor or product, for a disc,
/// or if the components know no such camera, nothing is written and the result is empty. A new
/// entry gets the name of a row in the settings, else the label, else vendor and product: the
/// components don't tell the name in a built-in row.
std::u16string addInstanceEntry(const CardMount& mount) {
    if (mount.vendor.empty() || mount.product.empty() || mount.cdrom) return {};
    const auto utils = createComponent<IDeviceUtils>(u"ZlkCamTr.DeviceUtils");
    const WCHAR drive[] = {mount.letter, u':', u'\\', 0};
    Bstr contextId;
    utils->DriveLetterToContextId(Bstr(drive).get(), contextId.out());
    std::u16string id(contextId.view());
    // The product class is the second part of the id `#maker#class#instance`.
    const std::size_t second = id.find(u'#', 1);
    const std::size_t third = second == id.npos ? second : id.find(u'#', second + 1);
    if (third == id.npos) return {};

    const std::u16string tree(settingsTree);
    const std::u16string productClass = id.substr(second + 1, third - second - 1);
    const SettingsPath strings(tree + productClass + u"\\DeviceInstances\\0000\\Strings");
    // A name that was given before is kept.
    if (SettingsStore::text(strings, u"FriendlyName").empty()) {
        std::u16string name =
            SettingsStore::text(SettingsPath(tree + productClass + u"\\CamInfo"), u"FriendlyName");
        if (name.empty()) name = mount.label;
        if (name.empty()) name = mount.vendor + u" " + mount.product;
        SettingsStore::setText(strings, u"FriendlyName", u"0," + name);
    }
    SettingsStore::setText(SettingsPath(tree + u"CtxMgr\\ProductClasses"), productClass,
                           u"*Installed*");
    return id;
}

void runMount(Tool& tool, const MountOptions& options) {
    CardMount mount;
    mount.folder = absolutePath(pathArgument(options.folder));
    // A trailing slash would be a part of the drive's path.
    while (mount.folder.size() > 1 && mount.folder.ends_with(u'/')) mount.folder.pop_back();
    mount.letter = letterOf(options.letter);
    mount.label = wideText(options.label);
    mount.vendor = wideText(options.vendor);
    mount.product = wideText(options.product);
    mount.cdrom = options.cdrom;
    if (mount.vendor.empty() != mount.product.empty())
        throw Failure(ExitStatus::Usage, "A camera is told by vendor and product together.",
                      "Give both --vendor and --product, or neither.");
    // mountCard also enters the letter that it has chosen into `mount`.
    if (!mountCard(mount)) throwMountFailure(mount.folder, options.letter);

    const std::u16string drive{mount.letter, u':'};
    const std::u16string camera = addInstanceEntry(mount);
    tool.say(utf8Text(mount.folder) + " is drive " + utf8Text(drive) +
             (camera.empty() ? "" : ", the camera " + utf8Text(camera)));
    tool.answer.beginObject()
        .member("drive", drive)
        .member("folder", mount.folder)
        .member("camera", camera)
        .endObject();
}

void runUnmount(Tool& tool, const MountOptions& options) {
    const WCHAR letter = letterOf(options.letter);
    if (!unmountCard(letter)) {
        const DWORD error = GetLastError();
        if (error == ERROR_INVALID_DRIVE)
            throw Failure(ExitStatus::Usage,
                          "No folder is mounted as drive " + options.letter + ".",
                          "zlkcam mount lists those that are.");
        throw settingsFailure("The folder can't be unmounted", error);
    }
    const std::u16string drive{letter, u':'};
    tool.say("Drive " + utf8Text(drive) + " is unmounted.");
    tool.answer.beginObject().member("drive", drive).endObject();
}

void listMounts(Tool& tool) {
    tool.answer.beginObject().key("mounts").beginArray();
    for (const CardMount& mount : mountedCards()) {
        const std::u16string drive{mount.letter, u':'};
        tool.say(utf8Text(drive + u"  " + mount.folder + u"  " + mount.label));
        tool.answer.beginObject()
            .member("drive", drive)
            .member("folder", mount.folder)
            .member("label", mount.label)
            .member("vendor", mount.vendor)
            .member("product", mount.product)
            .member("cdrom", mount.cdrom)
            .endObject();
    }
    tool.answer.endArray().endObject();
}

}  // namespace

void addMountCommands(CLI::App& app, Tool& tool) {
    addCommand<MountOptions>(
        app, "mount", "Use a folder as a card; without one, list such folders",
        [](CLI::App& command, MountOptions& options) {
            command.add_option("folder", options.folder, "the folder");
            command.add_option("--letter", options.letter, "drive letter; else the first free one");
            command.add_option("--label", options.label, "the card's name");
            command.add_option("--vendor", options.vendor,
                               "the card is of a camera whose volume has this vendor...");
            command.add_option("--product", options.product, "...and this product");
            command.add_flag("--cdrom", options.cdrom, "a disc, and not a card");
        },
        [&tool](const MountOptions& options) {
            options.folder.empty() ? listMounts(tool) : runMount(tool, options);
        });
    addCommand<MountOptions>(
        app, "unmount", "Give such a folder's drive letter back",
        [](CLI::App& command, MountOptions& options) {
            command.add_option("letter", options.letter, "drive letter")->required();
        },
        [&tool](const MountOptions& options) { runUnmount(tool, options); });
}

}  // namespace zlk
