// unload: everything off a device, into a folder.

#include <algorithm>
#include <functional>

#include "platform/clock.h"
#include "tools/zlkcam/CardSurvey.h"
#include "tools/zlkcam/StopFlag.h"
#include "tools/zlkcam/Text.h"
#include "tools/zlkcam/Unloader.h"
#include "tools/zlkcam/commands/Commands.h"

namespace zlk {
namespace {

using Outcome = UnloadedFile::Outcome;

struct Options : DeviceWords, UnloadOptions {
    std::string verification;  ///< empty: none; else `twice` or `copies`
};
constexpr char twice[] = "twice", copies[] = "copies";

const char* outcomeName(Outcome outcome) {
    switch (outcome) {
        case Outcome::Copied:
            return "copied";
        case Outcome::WasThere:
            return "was there";
        case Outcome::Skipped:
            return "skipped";
        case Outcome::TooLarge:
            return "too large";
        case Outcome::Failed:
            return "failed";
        case Outcome::NotReached:
            break;
    }
    return "not reached";
}

/// How grave it is what became of a file: it wasn't copied, wasn't deleted, was too large.
int gravityOf(const UnloadedFile& file) {
    if (!file.failure) return 0;
    if (file.outcome == Outcome::TooLarge) return 1;
    return file.outcome == Outcome::Failed ? 3 : 2;
}

/// The gravest of what went wrong: what ended it, then the first of the files to which the worst
/// happened.
std::optional<Failure> gravest(const Unloader& unloader) {
    if (unloader.ending()) return unloader.ending();
    const auto& files = unloader.files();
    const auto worst = std::ranges::max_element(files, {}, gravityOf);
    return worst == files.end() ? std::nullopt : worst->failure;
}

void writeFile(JsonWriter& json, const UnloadedFile& file) {
    json.beginObject()
        .member("id", file.record->id)
        .member("outcome", outcomeName(file.outcome))
        .member("size", file.outcome == Outcome::NotReached ? file.record->size : file.size)
        .member("file", file.file)
        .member("proved", file.proved)
        .member("fromMedium", file.fromMedium)
        .member("verified", file.verified)
        .member("deleted", file.deleted);
    if (file.sum) json.member("xxh128", sumText(*file.sum));
    if (file.failure) Tool::writeError(json.key("error"), *file.failure);
    json.endObject();
}

std::string filesText(std::size_t count) {
    return std::to_string(count) + (count == 1 ? " file" : " files");
}

class Summary {
  public:
    Summary(Tool& tool, const Unloader& unloader, DWORD milliseconds)
        : tool_(tool), files_(unloader.files()), milliseconds_(milliseconds) {}

    void tell(const std::u16string& folder) const {
        const std::size_t copied = count(Outcome::Copied);
        std::uint64_t bytes = 0;
        for (const UnloadedFile& file : files_)
            if (file.outcome == Outcome::Copied) bytes += file.size;
        const DWORD tenths = milliseconds_ / 100;
        tool_.say(filesText(copied) + " copied to " + utf8Text(folder) + ", " + sizeText(bytes) +
                  " in " + std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) +
                  " s (" + sizeText(bytes * 1000 / std::max<DWORD>(milliseconds_, 1)) + "/s).");
        if (const std::size_t there = count(Outcome::WasThere) + count(Outcome::Skipped))
            tool_.say(filesText(there) + " had been there before.");
        tellProofs();
        const auto deleted = matching([](const UnloadedFile& file) { return file.deleted; });
        if (deleted) tool_.say(filesText(deleted) + " deleted from the device.");
        const auto failed = matching([](const UnloadedFile& file) { return bool(file.failure); });
        if (failed) tool_.say(filesText(failed) + " with errors:");
        for (const UnloadedFile& file : files_)
            if (file.failure)
                tool_.say("  " + utf8Text(file.record->id) + ": " + file.failure->what());
        if (const std::size_t left = count(Outcome::NotReached))
            tool_.say(filesText(left) + " not reached; they are on the device only.");
    }

  private:
    void tellProofs() const {
        const auto proved = matching([](const UnloadedFile& file) { return file.proved; });
        if (!proved) return;
        const auto elsewhere =
            matching([](const UnloadedFile& file) { return file.proved && !file.fromMedium; });
        const auto verified = matching([](const UnloadedFile& file) { return file.verified; });
        tool_.say(filesText(proved) + " read back and compared" +
                  (verified ? ", " + filesText(verified) + " read twice from the device." : "."));
        if (elsewhere)
            tool_.say(filesText(elsewhere) +
                      " not from the medium: the folder is in memory or on another computer.");
    }
    template <class Predicate>
    std::size_t matching(Predicate predicate) const {
        return static_cast<std::size_t>(std::count_if(files_.begin(), files_.end(), predicate));
    }
    std::size_t count(Outcome outcome) const {
        return matching([=](const UnloadedFile& file) { return file.outcome == outcome; });
    }

    Tool& tool_;
    const std::vector<UnloadedFile>& files_;
    DWORD milliseconds_;
};

/// The answer, from whichever thread the run comes to its end.
void conclude(Tool& tool, const Unloader& unloader, const CardSurvey& survey,
              const std::u16string& contextId, const std::u16string& folder, DWORD milliseconds,
              const std::optional<Failure>& notDeleted) {
    Summary(tool, unloader, milliseconds).tell(folder);
    tool.answer.beginObject()
        .member("contextId", contextId)
        .member("folder", folder)
        .member("milliseconds", milliseconds)
        .key("files")
        .beginArray();
    for (const UnloadedFile& file : unloader.files()) writeFile(tool.answer, file);
    tool.answer.endArray();
    const std::optional<Failure> unread = survey.tell(tool);
    std::optional<Failure> failure = gravest(unloader);
    if (!failure) failure = unread;
    if (!failure) failure = notDeleted;
    if (failure) {
        tool.status = failure->status;
        tool.warn(std::string("zlkcam: ") + failure->what());
        if (!failure->advice.empty()) tool.warn(failure->advice);
        Tool::writeError(tool.answer.key("error"), *failure);
    }
    tool.answer.endObject();
}

void runUnload(Tool& tool, const Options& given) {
    Options options = given;
    if (options.remove && options.verification.empty()) options.verification = twice;
    options.prove = !options.verification.empty();
    options.verify = options.verification == twice;
    const StopFlag stop;
    std::function<ExitStatus()> end = [&] { return tool.finish(stoppedEarly()); };
    const StopWatch watch([&] { return end(); });
    const DeviceDirectory directory;
    const PhotoSession session(directory.find(options.takeDevice(1)));
    const std::u16string& contextId = session.device().contextId;
    const std::u16string root = directory.lowLevelId(contextId);
    const std::u16string card = directory.isCamera(contextId) ? u"" : root;
    session.requireMedia();  // a card that is away lies nowhere
    TargetFolder target(pathArgument(options.words.front()), card);
    if (tool.onTerminal()) tool.say("Reading the list of files...");
    const std::vector<FileRecord> files = session.files();
    const CardSurvey survey(card);

    const DWORD start = GetTickCount();
    Unloader unloader(tool, session, root, target, options);
    std::optional<Failure> notDeleted;
    const auto concluded = [&] {
        conclude(tool, unloader, survey, contextId, target.path(), GetTickCount() - start,
                 notDeleted);
    };
    end = [&] {
        unloader.abandon();
        concluded();
        return tool.finish();
    };
    unloader.copy(files);
    if (options.remove && directory.allowsDelete(contextId)) {
        if (!unloader.ending()) unloader.removeProved(survey);
    } else if (options.remove) {
        notDeleted = Failure(ExitStatus::DeleteRefused,
                             "Nothing was deleted: the settings don't allow files of " +
                                 utf8Text(session.device().name) + " to be deleted.",
                             "Look at AllowDelete of its product class: zlkcam settings list");
    }
    concluded();
}

}  // namespace

void addUnloadCommand(CLI::App& app, Tool& tool) {
    addCommand<Options>(
        app, "unload", "Copy all files of a device into a folder: [DEVICE] DEST",
        [](CLI::App& command, Options& options) {
            command.add_option("dest", options.words, "DEVICE (may be left out), then the folder")
                ->required()
                ->expected(1, 2)
                ->option_text("[DEVICE] DEST");
            command.add_flag("--new", options.onlyNew,
                             "skip what the folder has with the same name, size and time");
            command
                .add_flag("--verify{twice}", options.verification,
                          "read every copy back from its disk, have the device give every file a "
                          "second time, and compare; --verify=copies: only the copies")
                ->check(CLI::IsMember({twice, copies}));
            command.add_flag("--delete", options.remove,
                             "verify, then delete from the device what was verified");
            command.add_flag("--flat", options.flat, "no subfolders");
        },
        [&tool](const Options& options) { runUnload(tool, options); });
}

}  // namespace zlk
