// The command unload: copies the chosen files of a device into one folder or several. With --delete
// it then deletes from the device only files that are proved in every folder.

#include <algorithm>
#include <functional>

#include "platform/clock.h"
#include "tools/zlkcam/CardSurvey.h"
#include "tools/zlkcam/DeviceDirectory.h"
#include "tools/zlkcam/StopFlag.h"
#include "tools/zlkcam/Text.h"
#include "tools/zlkcam/commands/Commands.h"
#include "tools/zlkcam/commands/DeviceWords.h"
#include "tools/zlkcam/unload/HtmlReport.h"
#include "tools/zlkcam/unload/UnloadSummary.h"
#include "tools/zlkcam/unload/Unloader.h"

namespace zlk {
namespace {

/// The options of the command line, among them those of the classes that do the work.
struct Options : DeviceWords, UnloadOptions, SelectionOptions, UnloadProgress::Mode {
    std::string verification;  ///< empty: none; else `twice` or `copies`
    std::string place;
    std::string sum = "xxh128";
    std::string manifest = "mhl";
    bool flat = false;
    bool hasReport = false;
    bool isRehearsal = false;
};
constexpr char twice[] = "twice", copies[] = "copies";
constexpr char xxh128[] = "xxh128", sha256[] = "sha256";
constexpr char mhl[] = "mhl", sums[] = "sums", none[] = "none";

RecordForm recordForm(const Options& options) {
    if (options.manifest == none) return RecordForm::None;
    return options.manifest == sums ? RecordForm::Sums : RecordForm::MediaHashList;
}

/// Derives options from others, and rejects contradictions. Deleting without a choice of
/// verification gets the strictest one.
Options completed(Options options) {
    if (options.remove && options.verification.empty()) options.verification = twice;
    options.prove = !options.verification.empty();
    options.verify = options.verification == twice;
    options.sha256 = options.sum == sha256;
    if (options.flat && !options.place.empty())
        throw Failure(ExitStatus::Usage, "--flat and --to both say where files go.",
                      "Leave one of them out.");
    if (options.place.empty()) options.place = options.flat ? flatTemplate : defaultTemplate;
    return options;
}

/// Whether `inner` is `outer` or lies in it.
bool liesIn(const Destination& inner, const Destination& outer) {
    // A missing folder has no identity, so the paths are compared.
    if (outer.isMissing()) return inner.path() == outer.path();
    return std::ranges::find(inner.way(), outer.way().front()) != inner.way().end();
}

/// Throws Failure (Usage) if the folders are the same, or one lies in the other. Two copies in one
/// place would be a false safety.
void requireApart(const Destination& a, const Destination& b) {
    if (!liesIn(a, b) && !liesIn(b, a)) return;
    throw Failure(ExitStatus::Usage,
                  utf8Text(b.path()) + " is the same folder as " + utf8Text(a.path()) +
                      ", or one of them lies in the other.",
                  "Name folders that lie apart, best on different disks.");
}

/// Whether both folders lie on the same file system; false if one of them is still missing.
bool isOnOneDisk(const Destination& a, const Destination& b) {
    return !a.isMissing() && !b.isMissing() && a.way().front().device == b.way().front().device;
}

/// Opens and checks all destinations, and creates missing folders unless the command is a
/// rehearsal.
std::vector<Target> targetsOf(const Options& options, const Device& device,
                              const std::u16string& root, const std::u16string& card) {
    const auto destinations = [&](Destination::Making making) {
        std::vector<Target> targets;
        for (const std::string& word : options.words) {
            Target& target = targets.emplace_back();
            target.destination = std::make_unique<Destination>(pathArgument(word), card, making);
            for (const Target& other : targets)
                if (&other != &target) requireApart(*other.destination, *target.destination);
        }
        return targets;
    };
    // The first round changes nothing: a destination that is unusable ends the command before
    // another one has been created or changed.
    std::vector<Target> targets = destinations(Destination::Making::Nothing);
    if (!options.isRehearsal) targets = destinations(Destination::Making::Folder);
    const Recorder::Options recording{recordForm(options), options.onlyNew, options.sha256,
                                      options.isRehearsal};
    for (Target& target : targets)
        target.recorder =
            std::make_unique<Recorder>(*target.destination, device.name, root, recording);
    return targets;
}

void warnOfTargets(Tool& tool, const std::vector<Target>& targets) {
    for (const Target& target : targets) {
        for (const FolderHistory::Trouble& trouble : target.recorder->troubles())
            tool.warn(target.destination->shown(trouble.file) +
                      " can't be used: " + trouble.reason);
        // Only earlier targets are compared, to warn once for each pair.
        const bool isShared = std::ranges::any_of(targets, [&](const Target& other) {
            return &other < &target && isOnOneDisk(*other.destination, *target.destination);
        });
        if (isShared)
            tool.warn(target.destination->shown("") +
                      " is on the same file system as a folder before it: one fault may take "
                      "both copies.");
    }
}

/// What a run works with once all is prepared and the first file can be copied.
struct Prepared {
    const DeviceDirectory& directory;
    const PhotoSession& session;
    const CardSurvey& survey;
    const UnloadPlan& plan;
    std::vector<Target>& targets;
};

/// Called when a stop meets a call that doesn't return; its result is the exit status.
using Ending = std::function<ExitStatus()>;

/// Deletes the originals, or has the summary say why that isn't allowed.
void removeOriginals(const Prepared& run, Unloader& unloader, UnloadSummary& summary) {
    const Device& device = run.session.device();
    if (run.directory.allowsDelete(device.contextId)) return unloader.remove(run.survey);
    summary.noteNotDeleted({ExitStatus::DeleteRefused,
                            "Nothing was deleted: the settings don't allow files of " +
                                utf8Text(device.name) + " to be deleted.",
                            "Look at AllowDelete of its product class: zlkcam settings list"});
}

/// Copies the planned files, records the copies, deletes the originals if the options say so, and
/// prints the summary. Sets `end` to what the StopWatch has to call if the user stops the run while
/// a call of the device hangs.
void carryOut(Tool& tool, const Options& options, const Prepared& run, UnloadSummary& summary,
              Ending& end) {
    Unloader unloader(tool, run.session, run.plan, run.targets, options, options);
    HtmlReport report(run.session, run.plan, run.survey, unloader, run.targets);
    // Also runs on the StopWatch's thread, maybe while this function's thread hangs in the call for
    // a thumbnail. What was recorded or written by then isn't written again.
    const auto record = [&] {
        unloader.record();
        if (!options.hasReport) return;
        if (tool.onTerminal() && !options.quiet) tool.say("Writing the report...");
        report.write();
    };
    // From here on a stop has to leave the copies, their records and the answer in order. `end`
    // isn't called after this function, because no DeviceCall follows.
    end = [&] {
        unloader.abandon();
        record();
        summary.tell(unloader, options.quiet);
        return tool.finish();
    };
    unloader.copy();
    // Nothing may be deleted before the copies are recorded.
    record();
    if (options.remove) removeOriginals(run, unloader, summary);
    summary.tell(unloader, options.quiet);
}

void runUnload(Tool& tool, const Options& given) {
    // Errors in the options are reported before the device is claimed.
    Options options = completed(given);
    const FileSelection selection(options);
    const NameTemplate place(options.place);
    // A single word is the destination, even if it looks like a device.
    const std::u16string wanted =
        options.words.size() > 1 ? options.takeDeviceByLooks() : std::u16string();
    const StopFlag stop;
    // Before the copying begins there is nothing to put in order.
    Ending end = [&] { return tool.finish(stoppedEarly()); };
    const StopWatch watch([&] { return end(); });
    const DeviceDirectory directory;
    const PhotoSession session(directory.find(wanted));
    const Device& device = session.device();
    const std::u16string root = directory.lowLevelId(device.contextId);
    const std::u16string card = directory.isCamera(device.contextId) ? u"" : root;
    session.requireMedia();  // else nobody could tell whether a folder lies on the card
    std::vector<Target> targets = targetsOf(options, device, root, card);
    warnOfTargets(tool, targets);
    if (tool.onTerminal() && !options.quiet) tool.say("Reading the list of files...");
    const std::vector<FileRecord> files = session.files();
    const CardSurvey survey(card, files);
    // The plan has to know all destinations' copies before the first file is read.
    UnloadPlan plan(files, selection, {place, root, device.name});
    for (std::size_t i = 0; i < targets.size(); ++i)
        plan.compareWith(i, targets.size(), *targets[i].recorder);
    UnloadSummary summary(tool, device.contextId, plan, targets, survey);
    if (options.isRehearsal) return summary.tellPlan();
    carryOut(tool, options, {directory, session, survey, plan, targets}, summary, end);
}

void addChoices(CLI::App& command, Options& options) {
    command.add_option("--only", options.only, "only files that match, as \"*.JPG\"")
        ->allow_extra_args(false)
        ->option_text("PATTERN");
    command.add_option("--except", options.except, "no files that match")
        ->allow_extra_args(false)
        ->option_text("PATTERN");
    command.add_option("--since", options.since, "only files of this date or later")
        ->option_text("DATE");
    command.add_option("--type", options.types, "only raw, jpeg, video or audio files, or others")
        ->allow_extra_args(false)
        ->option_text("TYPE");
    command.add_flag("--new", options.onlyNew,
                     "skip what the folder has, or had, with the same name, size and time");
}

void addPlaces(CLI::App& command, Options& options) {
    command
        .add_option("--to", options.place,
                    "where files go in the folder, as \"{date:%Y}/{date:%Y-%m-%d}/{name}\"")
        ->option_text("TEMPLATE");
    command.add_flag("--flat", options.flat, "no subfolders");
}

void addProofs(CLI::App& command, Options& options) {
    command
        .add_flag("--verify{twice}", options.verification,
                  "read every copy back from its disk, have the device give every file a second "
                  "time, and compare; --verify=copies: only the copies")
        ->check(CLI::IsMember({twice, copies}));
    command.add_flag("--delete", options.remove,
                     "verify, then delete from the device what was verified");
    command.add_option("--sum", options.sum, "xxh128, or sha256 as well")
        ->check(CLI::IsMember({xxh128, sha256}))
        ->option_text("SUM");
    command
        .add_option("--manifest", options.manifest,
                    "the record in each folder: mhl (an ASC MHL history), sums (a file for xxhsum "
                    "or sha256sum), or none")
        ->check(CLI::IsMember({mhl, sums, none}))
        ->option_text("FORM");
    command.add_flag("--report", options.hasReport,
                     "a page for people in each folder, with thumbnails: what was copied, and how "
                     "that went");
}

}  // namespace

void addUnloadCommand(CLI::App& app, Tool& tool) {
    addCommand<Options>(
        app, "unload", "Copy the files of a device into folders: [DEVICE] DEST...",
        [](CLI::App& command, Options& options) {
            command
                .add_option("dest", options.words,
                            "DEVICE (may be left out), then one folder or several")
                ->required()
                ->option_text("[DEVICE] DEST...");
            addChoices(command, options);
            addPlaces(command, options);
            addProofs(command, options);
            command.add_flag("--dry-run", options.isRehearsal, "only tell what would be done");
            command.add_flag("--quiet", options.quiet, "tell only what goes wrong");
            command.add_flag("--progress", options.events,
                             "with --json: a line for each event, the answer as the last");
        },
        [&tool](const Options& options) { runUnload(tool, options); });
}

}  // namespace zlk
