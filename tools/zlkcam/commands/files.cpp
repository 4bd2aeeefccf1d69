// The commands list, thumbs and delete, for the files of one device.

#include <algorithm>
#include <unordered_set>

#include "tools/zlkcam/CardSurvey.h"
#include "tools/zlkcam/DeviceDirectory.h"
#include "tools/zlkcam/Session.h"
#include "tools/zlkcam/StopFlag.h"
#include "tools/zlkcam/Text.h"
#include "tools/zlkcam/commands/Commands.h"
#include "tools/zlkcam/commands/DeviceWords.h"
#include "tools/zlkcam/unload/Destination.h"
#include "tools/zlkcam/unload/NameTemplate.h"
#include "tools/zlkcam/unload/SourceFile.h"

namespace zlk {
namespace {

struct ListOptions : DeviceOption {
    bool flatCard = false;
};
struct ThumbsOptions : DeviceWords {
    bool flat = false;
};

constexpr char idAdvice[] = "Their ids are what zlkcam list prints.";

/// Collects failures. The first one decides the exit status, unless a later one ends the work.
class FileFailures {
  public:
    explicit FileFailures(Tool& tool) : tool_(tool) {}

    // Warns of a file's failure, and notes it.
    void note(const FileRecord& file, const Failure& failure) {
        tool_.warn(titleOf(file) + ": " + failure.what());
        if (!first_) first_ = failure;
    }
    // Notes a failure that doesn't belong to a single file.
    void note(const std::optional<Failure>& failure) {
        if (!first_) first_ = failure;
    }
    /// Calls `work` for each file. The call may add to the file's object in the JSON array that is
    /// open. A Failure that it throws is noted. Ends early after a stop, or if
    /// PhotoSession::endOf() says so.
    template <class Work>
    void forEach(const std::vector<FileRecord>& files, const PhotoSession& session, Work work) {
        for (const FileRecord& file : files) {
            if (StopFlag::raised()) {
                first_ = stoppedEarly();  // a stop counts more than the failures of files
                return;
            }
            bool goesOn = true;
            tool_.answer.beginObject().member("id", file.id);
            try {
                work(file);
            } catch (const Failure& failure) {
                goesOn = noteAndAsk(file, failure, session);
            }
            tool_.answer.endObject();
            if (!goesOn) return;
        }
    }

    /// Ends the JSON object that is open. A failure becomes its error member, and decides the exit
    /// status.
    void tell() const {
        if (first_) {
            tool_.status = first_->status;
            Tool::writeError(tool_.answer.key("error"), *first_);
        }
        tool_.answer.endObject();
    }

  private:
    /// Warns, and also adds the failure to the file's JSON object, which is open. Returns whether
    /// the work can go on.
    bool noteAndAsk(const FileRecord& file, const Failure& failure, const PhotoSession& session) {
        tool_.answer.member("failed", true).key("error");
        Tool::writeError(tool_.answer, failure);
        const std::optional<Failure> end = session.endOf(failure);
        if (end) first_ = end;
        note(file, failure);
        return !end;
    }

    Tool& tool_;
    std::optional<Failure> first_;
};

/// The root of a card's drive or share; empty for a camera.
std::u16string cardRoot(const DeviceDirectory& directory, const PhotoSession& session) {
    const std::u16string& contextId = session.device().contextId;
    return directory.isCamera(contextId) ? u"" : directory.lowLevelId(contextId);
}

void runList(Tool& tool, const ListOptions& options) {
    const StopFlag stop;
    const StopWatch watch([&] { return tool.finish(stoppedEarly()); });
    const DeviceDirectory directory;
    const PhotoSession session(directory.find(wideText(options.device)));
    // This message has a card list only the files directly in its top folder, until the device is
    // let go. A camera doesn't know the message, and lists all its files.
    if (options.flatCard) session.escape(u"MSDC_NoRecursion");
    const std::vector<FileRecord> files = session.files();
    const CardSurvey survey(options.flatCard ? u"" : cardRoot(directory, session), files);
    tool.answer.beginObject().member("contextId", session.device().contextId).key("files");
    tool.answer.beginArray();
    std::uint64_t bytes = 0;
    FileFailures failures(tool);
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
        // A refused file can't be copied, because copying begins with its description. So the list
        // already reports a failure.
        if (isRefused(file))
            failures.note(
                file, {ExitStatus::ReadFailed, "The camera lists it, and refuses to describe it."});
    }
    tool.answer.endArray();
    tool.say(std::to_string(files.size()) + " files, " + sizeText(bytes));
    failures.note(survey.tell(tool));
    failures.tell();
}

/// Makes one thumbnail and places it in the folder; throws Failure.
void saveThumbnail(Tool& tool, const PhotoSession& session, Destination& target,
                   const FileRecord& file, const std::string& wanted) {
    HiddenCopy copy = target.make(wanted);
    const Bstr id(file.id), path(wideText(copy.path()));
    session.require(session.call([&](IPhotoDevice& device) {
        return device.SaveThumbnail(id.get(), path.get());
    }),
                    "Making the thumbnail");
    // The component wrote the file by its path, so its size and sum have to be read.
    Placement placement = placementOf(copy, wanted);
    target.place({&placement, 1});
    const std::string placed = target.shown(placement.placed);
    tool.say(utf8Text(file.cameraPath) + " -> " + placed);
    tool.answer.member("file", placed);
}

void runThumbs(Tool& tool, const ThumbsOptions& options) {
    DeviceWords words = options;
    const StopFlag stop;
    // Destructors don't run after a stop that meets a hanging call, so the unfinished files are
    // removed here. `begun` is set as soon as there may be unfinished files.
    const Destination* begun = nullptr;
    const StopWatch watch([&] {
        if (begun) begun->removeCopies();
        if (begun) begun->finishRunFolders();
        return tool.finish(stoppedEarly());
    });
    const DeviceDirectory directory;
    const PhotoSession session(directory.find(words.takeDevice(1)));
    // The list comes before the folder, so that a missing card doesn't leave an empty folder.
    const std::vector<FileRecord> files = session.files();
    const CardSurvey survey(cardRoot(directory, session), files);
    Destination target(pathArgument(words.words.front()));
    begun = &target;
    const NameTemplate naming(options.flat ? flatTemplate : defaultTemplate);
    const std::u16string root = directory.lowLevelId(session.device().contextId);
    FileFailures failures(tool);
    tool.answer.beginObject().key("thumbnails").beginArray();
    failures.forEach(files, session, [&](const FileRecord& file) {
        saveThumbnail(tool, session, target, file,
                      naming.apply({.path = pathBelow(root, file)}) + ".thumb.jpg");
    });
    tool.answer.endArray();
    failures.note(survey.tell(tool));
    failures.tell();
}

/// Deletes one file of the device's list; throws Failure. The component would also accept ids that
/// it hasn't listed, so they are refused here.
void deleteListed(Tool& tool, const PhotoSession& session, const std::vector<FileRecord>& listed,
                  const std::u16string& id) {
    if (std::ranges::find(listed, id, &FileRecord::id) == listed.end())
        throw Failure(ExitStatus::ReadFailed, "The device lists no such file.", idAdvice);
    session.remove(id);
    tool.say("Deleted " + utf8Text(id));
    tool.answer.member("deleted", true);
}

void runDelete(Tool& tool, const DeviceWords& given) {
    DeviceWords words = given;
    const StopFlag stop;
    const StopWatch watch([&] { return tool.finish(stoppedEarly()); });
    const DeviceDirectory directory;
    const PhotoSession session(directory.find(words.takeDeviceByLooks()));
    if (words.words.empty())
        throw Failure(ExitStatus::Usage, "No files to delete are named.", idAdvice);
    if (!directory.allowsDelete(session.device().contextId))
        throw Failure(ExitStatus::DeleteRefused,
                      "The settings don't allow files of " + utf8Text(session.device().name) +
                          " to be deleted.",
                      "Look at AllowDelete of its product class: zlkcam settings list");
    const std::vector<FileRecord> files = session.files();
    std::vector<FileRecord> wanted(words.words.size());
    for (std::size_t i = 0; i < wanted.size(); ++i) wanted[i].id = wideText(words.words[i]);
    FileFailures failures(tool);
    tool.answer.beginObject().key("files").beginArray();
    failures.forEach(wanted, session,
                     [&](const FileRecord& file) { deleteListed(tool, session, files, file.id); });
    tool.answer.endArray();
    failures.tell();
}

}  // namespace

void addFileCommands(CLI::App& app, Tool& tool) {
    addCommand<ListOptions>(
        app, "list", "List the files of a device",
        [](CLI::App& command, ListOptions& options) {
            addDevice(command, options);
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
