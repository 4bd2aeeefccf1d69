// list, thumbs, delete: the files of one device.

#include <algorithm>
#include <unordered_set>

#include "tools/zlkcam/Session.h"
#include "tools/zlkcam/StopFlag.h"
#include "tools/zlkcam/TargetFolder.h"
#include "tools/zlkcam/Text.h"
#include "tools/zlkcam/Unloader.h"
#include "tools/zlkcam/commands/Commands.h"

namespace zlk {
namespace {

struct ListOptions {
    std::string device;
    bool flatCard = false;
};
struct ThumbsOptions : DeviceWords {
    bool flat = false;
};

void runList(Tool& tool, const ListOptions& options) {
    const PhotoSession session(DeviceDirectory().find(wideText(options.device)));
    if (options.flatCard) session.escape(u"MSDC_NoRecursion");
    const std::vector<FileRecord> files = session.files();
    tool.answer.beginObject().member("contextId", session.device().contextId).key("files");
    tool.answer.beginArray();
    std::uint64_t bytes = 0;
    for (const FileRecord& file : files) {
        const std::string size = std::to_string(file.size);
        tool.say(std::string(size.size() < 12 ? 12 - size.size() : 0, ' ') + size + "  " +
                 file.modified.text + "  " + titleOf(file));
        tool.answer.beginObject()
            .member("id", file.id)
            .member("camerapath", file.cameraPath)
            .member("size", file.size)
            .member("modified", file.modified.text)
            .member("created", file.created.text)
            .endObject();
        bytes += file.size;
        if (!isRefused(file)) continue;
        tool.warn(titleOf(file) + ": The camera lists it, and refuses to describe it.");
        tool.status = ExitStatus::ReadFailed;
    }
    tool.answer.endArray().endObject();
    tool.say(std::to_string(files.size()) + " files, " + sizeText(bytes));
}

/// Why a thumbnail or a deletion failed, and the first such status as that of the program, unless
/// the device is gone with it. Whether the work can go on.
bool noteFailure(Tool& tool, const PhotoSession& session, const FileRecord& file,
                 const Failure& failure) {
    tool.warn(titleOf(file) + ": " + failure.what());
    tool.answer.member("failed", true).key("error");
    Tool::writeError(tool.answer, failure);
    const std::optional<Failure> end = session.endOf(failure);
    if (tool.status == ExitStatus::Success || end) tool.status = end.value_or(failure).status;
    return !end;
}

void saveThumbnail(Tool& tool, const PhotoSession& session, TargetFolder& target,
                   const FileRecord& file, const std::u16string& wanted) {
    target.makeFoldersOf(wanted);
    HiddenFile part(target.hiddenName(wanted, u"part"));
    session.require(session->SaveThumbnail(Bstr(file.id).get(), Bstr(part.path()).get()),
                    "Making the thumbnail");
    const std::u16string placed = target.place(part, wanted).file;
    tool.say(utf8Text(file.cameraPath) + " -> " + utf8Text(placed));
    tool.answer.member("file", placed);
}

void runThumbs(Tool& tool, const ThumbsOptions& options) {
    DeviceWords words = options;
    const DeviceDirectory directory;
    const PhotoSession session(directory.find(words.takeDevice(1)));
    const std::vector<FileRecord> files = session.files();
    TargetFolder target(pathArgument(words.words.front()));
    const std::u16string root = directory.lowLevelId(session.device().contextId);
    const StopFlag stop;
    tool.answer.beginObject().key("thumbnails").beginArray();
    for (const FileRecord& file : files) {
        if (StopFlag::raised()) {
            tool.status = ExitStatus::Stopped;
            break;
        }
        bool goesOn = true;
        tool.answer.beginObject().member("id", file.id);
        try {
            saveThumbnail(tool, session, target, file,
                          target.fileFor(pathBelow(root, file), options.flat) + u".thumb.jpg");
        } catch (const Failure& failure) {
            goesOn = noteFailure(tool, session, file, failure);
        }
        tool.answer.endObject();
        if (!goesOn) break;
    }
    tool.answer.endArray().endObject();
}

void runDelete(Tool& tool, const DeviceWords& given) {
    DeviceWords words = given;
    const DeviceDirectory directory;
    const PhotoSession session(directory.find(words.takeDeviceByLooks()));
    if (words.words.empty())
        throw Failure(ExitStatus::Usage, "No files to delete are named.",
                      "Their ids are what zlkcam list prints.");
    if (!directory.allowsDelete(session.device().contextId))
        throw Failure(ExitStatus::DeleteRefused,
                      "The settings don't allow files of " + utf8Text(session.device().name) +
                          " to be deleted.",
                      "Look at AllowDelete of its product class: zlkcam settings list");
    // A path that isn't one of the device's files would be deleted all the same.
    const std::vector<FileRecord> files = session.files();
    tool.answer.beginObject().key("files").beginArray();
    for (const std::string& word : words.words) {
        FileRecord wanted;
        wanted.id = wideText(word);
        const bool listed = std::any_of(files.begin(), files.end(), [&](const FileRecord& file) {
            return file.id == wanted.id;
        });
        bool goesOn = true;
        tool.answer.beginObject().member("id", wanted.id);
        try {
            if (!listed)
                throw Failure(ExitStatus::ReadFailed, "The device lists no such file.",
                              "Their ids are what zlkcam list prints.");
            session.require(session->DeleteFileW(Bstr(wanted.id).get()), "Deleting it");
            tool.say("Deleted " + word);
            tool.answer.member("deleted", true);
        } catch (const Failure& failure) {
            goesOn = noteFailure(tool, session, wanted, failure);
        }
        tool.answer.endObject();
        if (!goesOn) break;
    }
    tool.answer.endArray().endObject();
}

}  // namespace

void addFileCommands(CLI::App& app, Tool& tool) {
    addCommand<ListOptions>(
        app, "list", "List the files of a device",
        [](CLI::App& command, ListOptions& options) {
            command.add_option("device", options.device, deviceHelp);
            command.add_flag("--top", options.flatCard, "only what lies directly on the card");
        },
        [&tool](const ListOptions& options) { runList(tool, options); });
    addCommand<ThumbsOptions>(
        app, "thumbs", "Make thumbnails of all files: [DEVICE] DEST",
        [](CLI::App& command, ThumbsOptions& options) {
            command.add_option("dest", options.words, "DEVICE (may be left out), then the folder")
                ->required()
                ->expected(1, 2)
                ->option_text("[DEVICE] DEST");
            command.add_flag("--flat", options.flat, "no subfolders");
        },
        [&tool](const ThumbsOptions& options) { runThumbs(tool, options); });
    addCommand<DeviceWords>(
        app, "delete", "Delete files of a device: [DEVICE] ID...",
        [](CLI::App& command, DeviceWords& words) {
            command.add_option("ids", words.words, "DEVICE (may be left out), then ids of files")
                ->required();
        },
        [&tool](const DeviceWords& words) { runDelete(tool, words); });
}

}  // namespace zlk
