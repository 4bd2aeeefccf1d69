#include "tools/zlkcam/unload/Copier.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/files.h"
#include "tools/zlkcam/StopFlag.h"
#include "tools/zlkcam/Text.h"
#include "tools/zlkcam/unload/PictureDate.h"
#include "tools/zlkcam/unload/SourceFile.h"

namespace zlk {
namespace {

constexpr DWORD blockSize = 1 << 20;

void setTime(const HiddenCopy& copy, std::int64_t seconds) {
    const timespec times[] = {{0, UTIME_OMIT}, {static_cast<time_t>(seconds), 0}};
    // Not all disks let everybody set it, and a copy is one without it.
    if (seconds >= 0) ::futimens(copy.file(), times);
}

Failure writeFailure(const Destination& destination, int error) {
    return {ExitStatus::FileUnusable,
            "It can't be written to " + destination.shown("") + ": " + std::strerror(error) + ".",
            "Make room, or choose another folder, and run it again with --new."};
}

Failure readTwice() {
    return {ExitStatus::NotVerified, "Reading it twice gave different bytes.",
            "Clean the contacts of the card, or try another reader."};
}

}  // namespace

Failure stoppedUnloading() {
    return {ExitStatus::Stopped, "Stopped. What was copied before is whole."};
}

Copier::Copier(const PhotoSession& session, const UnloadPlan& plan, const Settlers& settlers,
               const UnloadOptions& options, std::size_t filesAhead, UnloadProgress& progress)
    : session_(session),
      plan_(plan),
      settlers_(settlers),
      options_(options),
      filesAhead_(filesAhead),
      progress_(progress) {}

void Copier::copy(std::vector<UnloadedFile>& files) {
    for (std::size_t i = 0; i < files.size(); ++i) {
        const PlannedFile& planned = plan_.files()[i];
        for (const auto& settler : settlers_) settler->begin(planned.shot);
        if (StopFlag::raised()) ending_ = stoppedUnloading();
        if (!ending_) ending_ = endOfDestinations();
        if (ending_) break;
        inHand_ = &files[i];
        progress_.start(files[i]);
        try {
            copyFile(planned, *takeSource(i), files[i]);
        } catch (const Failure& failure) {
            noteFailure(files[i], failure);
            progress_.arrived(files[i], 0);
        }
        inHand_ = nullptr;
    }
    waitForSettlers();
    if (!ending_) ending_ = endOfDestinations();
}

void Copier::abandon() {
    for (const auto& settler : settlers_) settler->abandon();
    if (inHand_) noteFailure(*inHand_, stoppedUnloading());
    ending_ = stoppedUnloading();
}

std::unique_ptr<SourceFile> Copier::takeSource(std::size_t index) {
    const auto& files = plan_.files();
    std::unique_ptr<SourceFile> source;
    if (!ahead_.empty()) {
        source = std::move(ahead_.front());
        ahead_.pop_front();
    }
    if (!source) source = std::make_unique<SourceFile>(*files[index].record);
    while (ahead_.size() < filesAhead_ && index + 1 + ahead_.size() < files.size()) {
        const PlannedFile& next = files[index + 1 + ahead_.size()];
        std::unique_ptr<SourceFile>& opened = ahead_.emplace_back();
        if (!next.known.empty() || !isOnVolume(*next.record)) continue;
        try {
            opened = std::make_unique<SourceFile>(*next.record);
            opened->readAhead();
        } catch (const Failure&) {
            continue;  // that is told when it is its turn
        }
    }
    return source;
}

void Copier::copyFile(const PlannedFile& planned, const SourceFile& source, UnloadedFile& file) {
    readState(source, file);
    takeKnown(planned, file);
    Lanes lanes = openLanes(planned, file);
    // What an earlier run has read is deleted only if the device still gives those bytes.
    const bool isCompared = file.sum && (options_.verify || options_.remove);
    if (!lanes.empty() || isCompared) read(planned, source, file, lanes);
    arrive(planned, file, lanes);
}

void Copier::readState(const SourceFile& source, UnloadedFile& file) {
    const FileRecord& record = *file.record;
    const SourceState state = source.state();
    file.size = state.size;
    file.modified = state.modified;
    if (state.size == largestSize && !isOnVolume(record)) {
        file.reading = Outcome::TooLarge;
        throw Failure(ExitStatus::TooLarge,
                      "It has 4 GiB or more, of which only a part would arrive.",
                      "Copy it with the file manager.");
    }
    if ((state.size & largestSize) != record.size)
        throw Failure(ExitStatus::ReadFailed, "It has changed since it was listed.");
}

void Copier::takeKnown(const PlannedFile& planned, UnloadedFile& file) {
    for (std::size_t i = 0; i < settlers_.size(); ++i) {
        const KnownCopy* const known = planned.knownAt(i);
        if (!known) continue;
        file.copies[i].outcome = known->sum ? Outcome::WasThere : Outcome::Skipped;
        file.copies[i].file = known->file;
        file.copies[i].isGone = known->isGone;
        if (!known->sum || file.sum) continue;
        file.sum = known->sum;
        file.sha256 = known->sha256;
    }
}

Copier::Lanes Copier::openLanes(const PlannedFile& planned, UnloadedFile& file) {
    Lanes lanes;
    for (const auto& settler : settlers_) {
        CopyResult& result = file.copies[settler->index()];
        if (settler->isOut() || result.outcome != Outcome::NotReached) continue;
        try {
            lanes.push_back(
                {settler.get(), settler->destination().make(plan_.placeOf(planned, std::nullopt))});
        } catch (const Failure& failure) {
            result.fail(failure);
        }
    }
    return lanes;
}

void Copier::read(const PlannedFile& planned, const SourceFile& source, UnloadedFile& file,
                  Lanes& lanes) {
    CopySink sink(block_, {options_.sha256, plan_.needsDate() ? pictureHeadSize : 0});
    for (Lane& lane : lanes) sink.addCopy(lane.copy);
    fetch(file, sink, {0, options_.verify ? 50 : 100});
    closeLanes(file, lanes, sink);
    if (sink.isLost()) return;
    if (source.state() != SourceState{file.size, file.modified})
        throw Failure(ExitStatus::ReadFailed, "It changed while it was copied.");
    const bool isSecond = file.sum.has_value();
    if (isSecond && file.sum != sink.sum()) throw readTwice();
    file.sum = sink.sum();
    file.sha256 = sink.sha256();
    file.wasRead = true;
    noteDate(planned, sink.head());
    if (options_.verify && !isSecond) verify(source, file);
    file.verified = options_.verify && isDelivered(*file.record, file.size);
}

void Copier::closeLanes(UnloadedFile& file, Lanes& lanes, const CopySink& sink) {
    std::erase_if(lanes, [&](const Lane& lane) {
        const int error = sink.errorOf(lane.copy);
        if (error == 0) {
            setTime(lane.copy, file.modified);
            return false;
        }
        const Failure failure = writeFailure(lane.settler->destination(), error);
        file.copies[lane.settler->index()].fail(failure);
        // Of others there may be enough room for all.
        if (error != EFBIG) lane.settler->dropOut(failure);
        return true;
    });
}

void Copier::arrive(const PlannedFile& planned, UnloadedFile& file, Lanes& lanes) {
    std::vector<std::pair<std::size_t, Arrival>> arrivals;
    const std::string wanted = plan_.placeOf(planned, dateOf(planned));
    for (Lane& lane : lanes)
        arrivals.emplace_back(lane.settler->index(),
                              Arrival{&file, wanted, planned.shot, std::move(lane.copy)});
    for (std::size_t i = 0; i < settlers_.size() && options_.prove; ++i) {
        const KnownCopy* const known = planned.knownAt(i);
        if (known && known->sum && !settlers_[i]->isOut())
            arrivals.emplace_back(i, Arrival{&file, known->file, planned.shot, std::nullopt});
    }
    progress_.arrived(file, arrivals.size());
    const DeviceCall waiting;
    for (auto& [index, arrival] : arrivals) settlers_[index]->hand(std::move(arrival));
}

void Copier::noteDate(const PlannedFile& planned, std::span<const std::byte> head) {
    // A RAW and a JPEG of one shot lie together, even if only one of them tells its date.
    if (planned.shot == lastShot_ && shotDate_) return;
    lastShot_ = planned.shot;
    shotDate_ = pictureDate(head);
}

std::optional<LocalTime> Copier::dateOf(const PlannedFile& planned) const {
    return planned.shot == lastShot_ ? shotDate_ : std::nullopt;
}

void Copier::waitForSettlers() {
    const DeviceCall waiting;
    for (const auto& settler : settlers_) settler->finish();
}

void Copier::fetch(const UnloadedFile& file, CopySink& into, Share share) {
    ProgressCallback callback([&](int percent) {
        if (StopFlag::raised()) return false;
        progress_.progress(share.start + percent * share.size / 100);
        return true;
    });
    if (file.size > largestSize)
        readByPath(file, into, callback);
    else
        save(file, into, callback);
    into.finish();
    // A stopped copy is a success to the components; one that had arrived whole is a success.
    if (into.size() == file.size || into.isLost()) return;
    if (StopFlag::raised()) throw stoppedUnloading();
    throw Failure(ExitStatus::ReadFailed, "Only " + std::to_string(into.size()) + " of " +
                                              std::to_string(file.size) + " bytes arrived.");
}

void Copier::save(const UnloadedFile& file, CopySink& into, ProgressCallback& progress) {
    const SinkFile name(into);
    const Bstr id(file.record->id), path(name.path());
    const HRESULT result = session_.call([&](IPhotoDevice& device) {
        return device.SaveFileData(id.get(), path.get(), progress.asArgument());
    });
    if (result != S_OK && !into.isLost()) throwFetchFailure(session_.errorCode());
}

void Copier::readByPath(const UnloadedFile& file, CopySink& into, ProgressCallback& progress) {
    const UniqueHandle source = openToRead(*file.record);
    std::vector<std::byte> block(blockSize);
    for (DWORD read = 1; source && read > 0;) {
        if (!ReadFile(source.get(), block.data(), blockSize, &read, nullptr)) break;
        if (!into.take(std::span(block).first(read))) return;
        const auto percent = static_cast<LONG>(into.size() * 100 / file.size);
        if (progress.UpdateProgress(percent) != S_OK || read == 0) return;
    }
    throwFetchFailure(static_cast<LONG>(ExitStatus::ReadFailed));
}

void Copier::throwFetchFailure(LONG code) const {
    if (!session_.hasMedia()) code = static_cast<LONG>(ExitStatus::NotConnected);
    throw deviceFailure(code, session_.device(), "Reading it");
}

void Copier::verify(const SourceFile& source, UnloadedFile& file) {
    // The card's, and not what the system still has of it.
    source.forgetContents();
    CopySink second(block_);
    fetch(file, second, {50, 50});
    if (second.sum() != *file.sum) throw readTwice();
}

void Copier::noteFailure(UnloadedFile& file, const Failure& failure) {
    if (file.reading != Outcome::TooLarge) file.reading = Outcome::Failed;
    file.verified = false;
    file.failure = std::make_unique<const Failure>(failure);
    switch (failure.status) {
        case ExitStatus::Stopped:
            ending_ = failure;
            break;
        case ExitStatus::NotConnected:
        case ExitStatus::NotClaimed:
        case ExitStatus::ReadFailed:
            ending_ = session_.endOf(failure);
            break;
        default:
            break;
    }
}

std::optional<Failure> Copier::endOfDestinations() const {
    std::optional<Failure> first;
    for (const auto& settler : settlers_) {
        const std::optional<Failure> failure = settler->failure();
        if (!failure) return std::nullopt;
        if (!first) first = failure;
    }
    return first;
}

}  // namespace zlk
