#include "tools/zlkcam/unload/UnloadProgress.h"

#include "tools/zlkcam/Text.h"

namespace zlk {

UnloadProgress::UnloadProgress(Tool& tool, std::vector<const Destination*> destinations,
                               const Extent& extent, const Mode& mode)
    : destinations_(std::move(destinations)),
      extent_(extent),
      mode_(mode),
      bar_(tool, extent.files, extent.bytes) {
    if (mode_.events) {
        JsonWriter event;
        event.beginObject()
            .member("event", "start")
            .member("files", extent.files)
            .member("bytes", extent.bytes)
            .endObject();
        tellEvent(event);
    }
    if (extent.proves) bar_.expectProofs(extent.bytes * destinations_.size());
    if (mode_.quiet) bar_.hide();
}

void UnloadProgress::start(const UnloadedFile& file) {
    const std::lock_guard lock(inUse_);
    bar_.startFile(file.record->cameraPath, file.record->size);
    tellProgress();
}

void UnloadProgress::progress(int percent) {
    const std::lock_guard lock(inUse_);
    bar_.progress(percent);
    tellProgress();
}

void UnloadProgress::arrived(const UnloadedFile& file, std::size_t destinations) {
    const std::lock_guard lock(inUse_);
    bar_.endFile();
    // No destination takes the file, so its line can be written at once.
    if (destinations == 0) return tell(file);
    settling_[&file] = destinations;
}

void UnloadProgress::settled(const UnloadedFile& file) {
    const std::lock_guard lock(inUse_);
    if (extent_.proves) bar_.prove(file.size);
    tellProgress();
    const auto left = settling_.find(&file);
    // The file's line comes when the last destination is done with it.
    if (--left->second > 0) return;
    settling_.erase(left);
    tell(file);
}

void UnloadProgress::end() {
    const std::lock_guard lock(inUse_);
    bar_.hide();
}

void UnloadProgress::tell(const UnloadedFile& file) {
    const Failure* const trouble = file.trouble();
    if (mode_.events) {
        JsonWriter event;
        writeFile(event.beginObject().member("event", "file").key("file"), file, destinations_);
        event.endObject();
        return tellEvent(event);
    }
    // A file that wasn't reached has no result; the summary counts it.
    if (!trouble && file.outcome() == Outcome::NotReached) return;
    if (trouble || !mode_.quiet) bar_.report(lineOf(file), trouble != nullptr);
}

std::string UnloadProgress::placesOf(const UnloadedFile& file) const {
    std::string places;
    for (std::size_t i = 0; i < destinations_.size(); ++i)
        if (!file.copies[i].file.empty())
            places += (places.empty() ? "" : ", ") + destinations_[i]->shown(file.copies[i].file);
    return places;
}

std::string UnloadProgress::lineOf(const UnloadedFile& file) const {
    const std::string from = utf8Text(file.record->cameraPath), to = placesOf(file);
    if (const Failure* const trouble = file.trouble())
        return from + " was NOT copied" + (to.empty() ? "" : " to all, only to " + to) + ": " +
               trouble->what();
    return from + (file.outcome() == Outcome::Copied ? " -> " : " is there: ") + to;
}

void UnloadProgress::tellProgress() {
    constexpr DWORD pause = 250;  // milliseconds between two events
    const DWORD now = bar_.elapsed();
    if (!mode_.events || now - lastTold_ < pause) return;
    lastTold_ = now;
    JsonWriter event;
    event.beginObject().member("event", "progress").member("files", bar_.filesDone());
    const auto writeStep = [&](const char* name, const StepState& state) {
        event.key(name).beginObject().member("bytes", state.done);
        if (state.rate)
            event.member("bytesPerSecond", state.rate).member("secondsLeft", state.secondsLeft);
        event.endObject();
    };
    writeStep("copied", bar_.copied(now));
    if (extent_.proves) writeStep("proved", bar_.proved(now));
    event.endObject();
    tellEvent(event);
}

void UnloadProgress::tellEvent(JsonWriter& event) {
    Tool::write(event.take() + "\n");
    Tool::flush();
}

void writeFile(JsonWriter& json, const UnloadedFile& file,
               const std::vector<const Destination*>& destinations) {
    const auto shown = [&](std::size_t i) {
        return file.copies[i].file.empty() ? "" : destinations[i]->shown(file.copies[i].file);
    };
    json.beginObject()
        .member("id", file.record->id)
        .member("outcome", outcomeName(file.outcome()))
        .member("size", file.knownSize())
        .member("file", shown(0))
        .member("proved", file.isProved())
        .member("fromMedium", file.isFromMedium())
        .member("verified", file.verified)
        .member("deleted", file.deleted);
    if (file.sum && file.wasRead) json.member("xxh128", sumText(*file.sum));
    if (!file.sha256.empty()) json.member("sha256", file.sha256);
    if (const Failure* const trouble = file.trouble())
        Tool::writeError(json.key("error"), *trouble);
    json.key("copies").beginArray();
    for (std::size_t i = 0; i < file.copies.size(); ++i) {
        const CopyResult& copy = file.copies[i];
        json.beginObject()
            .member("outcome", outcomeName(copy.outcome))
            .member("file", shown(i))
            .member("proved", copy.proved)
            .member("fromMedium", copy.fromMedium);
        if (copy.outcome == Outcome::Skipped) json.member("gone", copy.isGone);
        if (copy.failure) Tool::writeError(json.key("error"), *copy.failure);
        json.endObject();
    }
    json.endArray().endObject();
}

}  // namespace zlk
