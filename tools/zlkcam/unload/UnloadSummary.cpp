#include "tools/zlkcam/unload/UnloadSummary.h"

#include <algorithm>
#include <functional>

#include "platform/clock.h"
#include "tools/zlkcam/Text.h"
#include "tools/zlkcam/unload/FileCounts.h"

namespace zlk {
namespace {

/// Prints what there is of a long answer from time to time, as its JSON for 100,000 files would
/// take much memory.
void handOut(Tool& tool, std::size_t index) {
    if (tool.json && index % 1000 == 999) Tool::write(tool.answer.take());
}

}  // namespace

UnloadSummary::UnloadSummary(Tool& tool, const std::u16string& contextId, const UnloadPlan& plan,
                             const std::vector<Target>& targets, const CardSurvey& survey)
    : tool_(tool),
      contextId_(contextId),
      plan_(plan),
      targets_(targets),
      survey_(survey),
      start_(GetTickCount()) {}

void UnloadSummary::tellPlan() const {
    tool_.answer.beginObject().member("contextId", contextId_).key("plan").beginArray();
    std::size_t index = 0;
    for (const PlannedFile& file : plan_.files()) {
        const std::string from = utf8Text(file.record->cameraPath);
        // The date in a picture is only read while copying; the listed one stands in for it here.
        const std::string place = plan_.placeOf(file, std::nullopt);
        tool_.answer.beginObject()
            .member("id", file.record->id)
            .member("size", file.record->size)
            .key("copies")
            .beginArray();
        for (std::size_t i = 0; i < targets_.size(); ++i) {
            const KnownCopy* const known = file.knownAt(i);
            const std::string to =
                targets_[i].destination->shown(known ? std::string_view(known->file) : place);
            std::string line = from;
            line += known ? " is there: " : " -> ";
            tool_.say(line += to);
            tool_.answer.beginObject()
                .member("known", known != nullptr)
                .member("file", to)
                .endObject();
        }
        tool_.answer.endArray().endObject();
        handOut(tool_, index++);
    }
    tool_.answer.endArray()
        .member("files", plan_.files().size())
        .member("bytes", plan_.bytes())
        .member("leftOut", plan_.leftOut());
    tool_.say(filesText(plan_.files().size()) + ", " + sizeText(plan_.bytes()) +
              ", and nothing was done.");
    if (plan_.leftOut()) tool_.say(filesText(plan_.leftOut()) + " not chosen.");
    if (plan_.needsDate())
        tool_.say(
            "A picture's own date, which decides where it goes, is read as it is copied; "
            "shown is where it goes by the date that the device lists.");
    if (const std::optional<Failure> unread = survey_.tell(tool_)) fail(*unread);
    tool_.answer.endObject();
}

void UnloadSummary::tell(const Unloader& unloader, bool quiet) const {
    const DWORD milliseconds = GetTickCount() - start_;
    if (!quiet) sayAll(unloader, milliseconds);
    writeAll(unloader, milliseconds);
    // Of several failures one decides the exit status: first one of the run, then one of the list,
    // and last a deletion that was refused.
    const std::optional<Failure> unread = survey_.tell(tool_);
    std::optional<Failure> failure = unloader.gravest();
    if (!failure) failure = unread;
    if (!failure) failure = notDeleted_;
    if (failure) fail(*failure);
    tool_.answer.endObject();
}

void UnloadSummary::fail(const Failure& failure) const {
    tool_.status = failure.status;
    tool_.warn(std::string("zlkcam: ") + failure.what());
    if (!failure.advice.empty()) tool_.warn(failure.advice);
    Tool::writeError(tool_.answer.key("error"), failure);
}

void UnloadSummary::sayAll(const Unloader& unloader, DWORD milliseconds) const {
    const Files& files = unloader.files();
    sayCopied(files, milliseconds);
    if (const std::size_t there =
            countOf(files, Outcome::WasThere) + countOf(files, Outcome::Skipped))
        tool_.say(filesText(there) + " had been there before.");
    const std::size_t gone = countOf(files, [](const UnloadedFile& file) {
        return std::ranges::any_of(file.copies, &CopyResult::isGone);
    });
    if (gone)
        tool_.say(filesText(gone) +
                  " of them aren't where they were copied to any more. Without --new they are "
                  "copied again.");
    if (plan_.leftOut()) tool_.say(filesText(plan_.leftOut()) + " not chosen.");
    sayProofs(files);
    for (const Target& target : targets_)
        if (!target.manifest.empty())
            tool_.say("Recorded in " + target.destination->shown(target.manifest));
    for (const Target& target : targets_)
        if (!target.report.empty())
            tool_.say("The report is " + target.destination->shown(target.report));
    if (const std::size_t deleted = countOf(files, std::mem_fn(&UnloadedFile::deleted)))
        tool_.say(filesText(deleted) + " deleted from the device.");
    sayTroubles(files);
    const std::size_t left = countOf(files, Outcome::NotReached);
    const std::size_t partly = countOf(files, [](const UnloadedFile& file) {
        return file.outcome() == Outcome::NotReached && file.isAnywhere();
    });
    if (partly) tool_.say(filesText(partly) + " not copied to every folder.");
    if (left > partly)
        tool_.say(filesText(left - partly) + " not reached; they are on the device only.");
}

void UnloadSummary::sayCopied(const Files& files, DWORD milliseconds) const {
    const std::uint64_t bytes =
        bytesOf(files, [](const UnloadedFile& file) { return file.outcome() == Outcome::Copied; });
    std::string places;
    for (const Target& target : targets_)
        places += (places.empty() ? "" : " and ") + target.destination->shown("");
    const DWORD tenths = milliseconds / 100;
    tool_.say(filesText(countOf(files, Outcome::Copied)) + " copied to " + places + ", " +
              sizeText(bytes) + " in " + std::to_string(tenths / 10) + "." +
              std::to_string(tenths % 10) + " s (" +
              sizeText(bytes * 1000 / std::max<DWORD>(milliseconds, 1)) + "/s).");
}

void UnloadSummary::sayProofs(const Files& files) const {
    const std::size_t proved = countOf(files, std::mem_fn(&UnloadedFile::isProved));
    if (!proved) return;
    const std::uint64_t bytes = bytesOf(files, &UnloadedFile::isProved);
    const std::size_t verified = countOf(files, std::mem_fn(&UnloadedFile::verified));
    tool_.say(filesText(proved) + ", " + sizeText(bytes) + ", read back and compared" +
              (targets_.size() > 1 ? " everywhere" : "") +
              (verified ? "; " + filesText(verified) + " read twice from the device." : "."));
    const std::size_t elsewhere = countOf(
        files, [](const UnloadedFile& file) { return file.isProved() && !file.isFromMedium(); });
    if (elsewhere)
        tool_.say(filesText(elsewhere) +
                  " not from the medium: the folder is in memory or on another computer.");
}

void UnloadSummary::sayTroubles(const Files& files) const {
    for (const Target& target : targets_)
        if (target.failure)
            tool_.say(target.destination->shown("") + " failed: " + target.failure->what());
    const std::size_t failed =
        countOf(files, [](const UnloadedFile& file) { return file.trouble() != nullptr; });
    if (!failed) return;
    tool_.say(filesText(failed) + " with errors:");
    for (const UnloadedFile& file : files)
        if (const Failure* const trouble = file.trouble())
            tool_.say("  " + utf8Text(file.record->id) + ": " + trouble->what());
}

void UnloadSummary::writeTargets() const {
    tool_.answer.key("destinations").beginArray();
    const auto shown = [](const Target& target, const std::string& file) {
        return file.empty() ? file : target.destination->shown(file);
    };
    for (const Target& target : targets_) {
        tool_.answer.beginObject()
            .member("folder", target.destination->path())
            .member("manifest", shown(target, target.manifest))
            .member("report", shown(target, target.report));
        if (target.failure) Tool::writeError(tool_.answer.key("error"), *target.failure);
        tool_.answer.endObject();
    }
    tool_.answer.endArray();
}

void UnloadSummary::writeAll(const Unloader& unloader, DWORD milliseconds) const {
    tool_.answer.beginObject()
        .member("contextId", contextId_)
        .member("folder", targets_.front().destination->path())
        .member("milliseconds", milliseconds)
        .member("leftOut", plan_.leftOut());
    writeTargets();
    tool_.answer.key("files").beginArray();
    const std::vector<const Destination*> destinations = destinationsOf(targets_);
    std::size_t index = 0;
    for (const UnloadedFile& file : unloader.files()) {
        if (!tool_.json) break;
        writeFile(tool_.answer, file, destinations);
        handOut(tool_, index++);
    }
    tool_.answer.endArray();
}

}  // namespace zlk
