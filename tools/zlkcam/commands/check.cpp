// The command check: compares the files of a folder with what was recorded of them.

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <functional>
#include <optional>

#include "platform/clock.h"
#include "platform/descriptor.h"
#include "platform/files.h"
#include "tools/zlkcam/StopFlag.h"
#include "tools/zlkcam/Text.h"
#include "tools/zlkcam/commands/Commands.h"
#include "tools/zlkcam/history/FolderCheck.h"

namespace zlk {
namespace {

using Finding = CheckedFile::Finding;

struct Options {
    std::string folder;
};

const char* findingName(Finding finding) {
    switch (finding) {
        case Finding::Whole:
            return "whole";
        case Finding::Renamed:
            return "renamed";
        case Finding::Changed:
            return "changed";
        case Finding::Missing:
            return "missing";
        case Finding::Unreadable:
            return "unreadable";
        case Finding::NotReached:
            break;
    }
    return "not reached";
}

/// The path in the form that the operating system's calls take. They know neither drive letters nor
/// shares, so our platform layer resolves these. Any other path stays as it is.
std::string pathOnThisMachine(const std::string& word) {
    const bool hasDrive = word.size() > 1 && word[1] == ':';
    const bool isPlatforms = hasDrive || word.starts_with("\\\\");
    return isPlatforms ? utf8Text(finalPath(pathArgument(word).c_str())) : word;
}

Descriptor openFolder(const std::string& word) {
    Descriptor folder(::open(pathOnThisMachine(word).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder)
        throw Failure(ExitStatus::FileUnusable,
                      "The folder " + word + " can't be read: " + std::strerror(errno) + ".");
    return folder;
}

std::string counted(std::size_t count, const std::string& one, const std::string& more) {
    return std::to_string(count) + ' ' + (count == 1 ? one : more);
}
std::string filesText(std::size_t count) {
    return counted(count, "file", "files");
}

/// The result of a check in words and as JSON. It is told once, by the thread that ends the check.
class Report {
  public:
    Report(Tool& tool, const std::u16string& folder, const FolderHistory& history,
           const FolderCheck& check, DWORD start)
        : tool_(tool), folder_(folder), history_(history), check_(check), start_(start) {}

    void conclude(bool isStopped) const {
        const DWORD milliseconds = GetTickCount() - start_;
        tell(milliseconds);
        tool_.answer.beginObject()
            .member("folder", folder_)
            .member("milliseconds", milliseconds)
            .member("bytes", check_.bytes());
        writeFiles();
        writeRest();
        // A stop says more than the findings, which are incomplete then.
        if (const auto failure = isStopped ? std::optional(stoppedEarly()) : gravest())
            end(*failure);
        tool_.answer.endObject();
    }

  private:
    // The answer in words.
    void tell(DWORD milliseconds) const;
    void tellList(Finding finding) const;
    void writeFiles() const;
    void writeRest() const;
    // The failure that decides the exit status; none if no file is missing, changed or unreadable,
    // no folder is unreadable, and every record could be used.
    std::optional<Failure> gravest() const;
    void end(const Failure& failure) const {
        tool_.status = failure.status;
        tool_.warn(std::string("zlkcam: ") + failure.what());
        if (!failure.advice.empty()) tool_.warn(failure.advice);
        Tool::writeError(tool_.answer.key("error"), failure);
    }

    std::size_t count(Finding finding) const {
        return static_cast<std::size_t>(
            std::ranges::count(check_.files(), finding, &CheckedFile::finding));
    }

    Tool& tool_;
    const std::u16string& folder_;
    const FolderHistory& history_;
    const FolderCheck& check_;
    const DWORD start_;
};

void Report::tell(DWORD milliseconds) const {
    const DWORD tenths = milliseconds / 100;
    tool_.say(std::to_string(count(Finding::Whole)) + " of " + filesText(check_.files().size()) +
              " whole, " + sizeText(check_.bytes()) + " in " + std::to_string(tenths / 10) + "." +
              std::to_string(tenths % 10) + " s (" +
              sizeText(check_.bytes() * 1000 / std::max<DWORD>(milliseconds, 1)) + "/s).");
    const auto elsewhere = std::ranges::count_if(check_.files(), [](const CheckedFile& file) {
        return file.finding == Finding::Whole && !file.fromMedium;
    });
    if (elsewhere)
        tool_.say(filesText(static_cast<std::size_t>(elsewhere)) +
                  " not from the medium: the folder is in memory or on another computer.");
    for (const Finding finding :
         {Finding::Renamed, Finding::Changed, Finding::Missing, Finding::Unreadable})
        tellList(finding);
    if (const std::size_t left = count(Finding::NotReached))
        tool_.say(filesText(left) + " not reached.");
    if (!check_.newFiles().empty())
        tool_.say(filesText(check_.newFiles().size()) + " new, of which nothing is recorded:");
    for (const auto& file : check_.newFiles()) tool_.say("  " + file.path);
    for (const auto& folder : check_.unread())
        tool_.warn("The folder " + (folder.path.empty() ? "." : folder.path) +
                   " can't be read: " + folder.reason + ".");
    for (const auto& trouble : history_.troubles())
        tool_.warn(trouble.file + " is left out: " + trouble.reason + ".");
}

void Report::tellList(Finding finding) const {
    if (const std::size_t some = count(finding))
        tool_.say(filesText(some) + ' ' + findingName(finding) + ':');
    for (const CheckedFile& file : check_.files()) {
        if (file.finding != finding) continue;
        const std::string more = finding == Finding::Renamed ? " -> " + file.nowAt
                                 : file.reason.empty()       ? ""
                                                             : ": " + file.reason;
        tool_.say("  " + file.record->path + more);
    }
}

void Report::writeFiles() const {
    tool_.answer.key("files").beginArray();
    for (const CheckedFile& file : check_.files()) {
        tool_.answer.beginObject()
            .member("file", file.record->path)
            .member("finding", findingName(file.finding))
            .member("size", file.size)
            .member("fromMedium", file.fromMedium);
        if (!file.record->source.empty()) tool_.answer.member("source", file.record->source);
        if (!file.nowAt.empty()) tool_.answer.member("nowAt", wideText(file.nowAt));
        if (!file.reason.empty()) tool_.answer.member("reason", file.reason);
        tool_.answer.endObject();
    }
    tool_.answer.endArray();
}

void Report::writeRest() const {
    tool_.answer.key("new").beginArray();
    for (const auto& file : check_.newFiles())
        tool_.answer.beginObject()
            .member("file", wideText(file.path))
            .member("size", file.size)
            .endObject();
    tool_.answer.endArray().key("unread").beginArray();
    for (const auto& folder : check_.unread())
        tool_.answer.beginObject()
            .member("folder", wideText(folder.path))
            .member("reason", folder.reason)
            .endObject();
    tool_.answer.endArray().key("troubles").beginArray();
    for (const auto& trouble : history_.troubles())
        tool_.answer.beginObject()
            .member("file", wideText(trouble.file))
            .member("reason", wideText(trouble.reason))
            .endObject();
    tool_.answer.endArray();
}

std::optional<Failure> Report::gravest() const {
    // Damage comes first; files that couldn't be read may be whole.
    const std::size_t missing = count(Finding::Missing), changed = count(Finding::Changed);
    if (missing + changed > 0)
        return Failure(ExitStatus::NotVerified,
                       filesText(missing) + " missing, " + std::to_string(changed) +
                           " changed since they were recorded.",
                       "Keep the other copies of these files, and the card.");
    const std::size_t unreadable = count(Finding::Unreadable) + check_.unread().size();
    if (unreadable > 0)
        return Failure(
            ExitStatus::FileUnusable,
            counted(unreadable, "file or folder", "files and folders") + " can't be read.",
            "Whether these are whole nobody can say.");
    if (!history_.troubles().empty())
        return Failure(ExitStatus::BadDocument,
                       counted(history_.troubles().size(), "record", "records") +
                           " of earlier copies can't be used.",
                       "All files of which another one tells were checked.");
    return std::nullopt;
}

void runCheck(Tool& tool, const Options& options) {
    const StopFlag stop;
    // The StopWatch calls `end` when a stop meets a call that doesn't return. At first there is
    // nothing to report.
    std::function<ExitStatus()> end = [&] { return tool.finish(stoppedEarly()); };
    const StopWatch watch([&] { return end(); });
    const std::u16string path = absolutePath(pathArgument(options.folder));
    const DWORD start = GetTickCount();
    Descriptor folder;
    const FolderHistory history = [&] {
        // A folder on a network drive may not answer.
        const DeviceCall call;
        folder = openFolder(options.folder);
        return FolderHistory::read(folder.get());
    }();
    if (history.records().empty() && history.troubles().empty())
        throw Failure(ExitStatus::Usage,
                      "The folder " + utf8Text(path) + " holds no record of a copy.",
                      "That is a folder ascmhl, or a sums file, directly in it.");
    FolderCheck check(tool, folder.get(), history);
    const Report report(tool, path, history, check, start);
    // From here on there are findings, which a stop has to report, too.
    end = [&] {
        report.conclude(true);
        return tool.finish();
    };
    check.run();
    report.conclude(check.isStopped());
}

}  // namespace

void addCheckCommand(CLI::App& app, Tool& tool) {
    addCommand<Options>(
        app, "check", "Compare the files of a folder with what was recorded of them: FOLDER",
        [](CLI::App& command, Options& options) {
            command.add_option("folder", options.folder, "with a record of copies in it")
                ->required()
                ->option_text("FOLDER");
        },
        [&tool](const Options& options) { runCheck(tool, options); });
}

}  // namespace zlk
