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

// Bytes of one read in readByPath.
constexpr DWORD blockSize = 1 << 20;

/// Gives a copy the modification time of its original, by which picture programs sort. If that is
/// unknown (-1), the copy keeps its own time.
void setTime(const HiddenCopy& copy, std::int64_t seconds) {
    const timespec times[] = {{0, UTIME_OMIT}, {static_cast<time_t>(seconds), 0}};
    // Some file systems let only root set a time. A copy with the time of today is still a good
    // copy, so an error is ignored.
    if (seconds >= 0) ::futimens(copy.file(), times);
}

Failure writeFailure(const Destination& destination, int error) {
    return {ExitStatus::FileUnusable,
            "It can't be written to " + destination.shown("") + ": " + std::strerror(error) + ".",
            "Make room, or choose another folder, and run it again with --new."};
}

/// Two readings of a file gave different sums, so that neither can be trusted. An earlier run may
/// have made the first reading.
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
        // If this file begins a new shot, the settlers may settle the shots before it from now on.
        for (const auto& settler : settlers_) settler->begin(planned.shot);
        if (StopFlag::raised()) ending_ = stoppedUnloading();
        if (!ending_) ending_ = endOfDestinations();
        if (ending_) break;
        inHand_ = &files[i];
        progress_.start(files[i]);
        // noteFailure decides whether the failure of this file ends the run.
        try {
            copyFile(planned, *takeSource(i), files[i]);
        } catch (const Failure& failure) {
            noteFailure(files[i], failure);
            progress_.arrived(files[i], 0);
        }
        inHand_ = nullptr;
    }
    // The settlers still work on what has arrived. Only after the wait are their results known, and
    // whether one of them has given its destination up.
    waitForSettlers();
    if (!ending_) ending_ = endOfDestinations();
}

void Copier::abandon() {
    // The settlers are stopped first, so that no thread changes the results any more.
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
        // A file that a destination has already may not have to be read at all. A camera has no
        // files that the system could read ahead.
        if (!next.known.empty() || !isOnVolume(*next.record)) continue;
        try {
            opened = std::make_unique<SourceFile>(*next.record);
            opened->readAhead();
        } catch (const Failure&) {
            continue;  // if it still fails in the file's turn, that is reported
        }
    }
    return source;
}

void Copier::copyFile(const PlannedFile& planned, const SourceFile& source, UnloadedFile& file) {
    // The size and time are taken first, so that a change during the copy is noticed afterwards.
    readState(source, file);
    takeKnown(planned, file);
    Lanes lanes = openLanes(planned, file);
    // If an earlier run read this file, its sum is taken over. The file may only be called
    // verified, or deleted from the device, if the device still gives the same bytes now.
    const bool isCompared = file.sum && (options_.verify || options_.remove);
    if (!lanes.empty() || isCompared) read(planned, source, file, lanes);
    arrive(planned, file, lanes);
}

void Copier::readState(const SourceFile& source, UnloadedFile& file) {
    const FileRecord& record = *file.record;
    const SourceState state = source.state();
    // Size and time are set before the checks, so that the report of a failure has them.
    file.size = state.size;
    file.modified = state.modified;
    if (state.size == largestSize && !isOnVolume(record)) {
        file.reading = Outcome::TooLarge;
        throw Failure(ExitStatus::TooLarge,
                      "It has 4 GiB or more, of which only a part would arrive.",
                      "Copy it with the file manager.");
    }
    // The list gives 32 bits of a size, so only these bits of the true size are compared.
    if ((state.size & largestSize) != record.size)
        throw Failure(ExitStatus::ReadFailed, "It has changed since it was listed.");
}

void Copier::takeKnown(const PlannedFile& planned, UnloadedFile& file) {
    for (std::size_t i = 0; i < settlers_.size(); ++i) {
        const KnownCopy* const known = planned.knownAt(i);
        if (!known) continue;
        // A sum shows that an earlier, killed run copied the file completely. Without a sum the
        // copy is known by name, size and time only, and counts as skipped.
        file.copies[i].outcome = known->sum ? Outcome::WasThere : Outcome::Skipped;
        file.copies[i].file = known->file;
        file.copies[i].isGone = known->isGone;
        // All destinations' copies come from one original; the first sum that is found stands for
        // it.
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
            // The picture's date is unknown until its bytes have been read. This preliminary name
            // decides on which file system the hidden copy has to lie, and gives it a part of its
            // hidden name.
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
    // With --verify a second reading, if one is needed, fills the other half of the file's
    // progress.
    fetch(file, sink, {0, options_.verify ? 50 : 100});
    closeLanes(file, lanes, sink);
    // With no copy left there is no need for a sum.
    if (sink.isLost()) return;
    // Another program may have written to the file while it was read; the copy could then have
    // parts of both versions.
    if (source.state() != SourceState{file.size, file.modified})
        throw Failure(ExitStatus::ReadFailed, "It changed while it was copied.");
    // A sum from an earlier run makes this the second reading, which must agree with the first one.
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
            // The time is set here, after the last write, because writing sets it, too.
            setTime(lane.copy, file.modified);
            return false;
        }
        const Failure failure = writeFailure(lane.settler->destination(), error);
        file.copies[lane.settler->index()].fail(failure);
        // EFBIG concerns this file only: the file system takes no file of that size (FAT: 4 GiB),
        // but may take the others. Any other error, such as a full disk, is expected to hit the
        // others, too.
        if (error != EFBIG) lane.settler->dropOut(failure);
        return true;
    });
}

void Copier::arrive(const PlannedFile& planned, UnloadedFile& file, Lanes& lanes) {
    std::vector<std::pair<std::size_t, Arrival>> arrivals;
    // By now the picture's date is known, if its bytes have been read and tell one.
    const std::string wanted = plan_.placeOf(planned, dateOf(planned));
    for (Lane& lane : lanes)
        arrivals.emplace_back(lane.settler->index(),
                              Arrival{&file, wanted, planned.shot, std::move(lane.copy)});
    // Copies of killed runs are proved again if proofs are wished; they have no HiddenCopy, because
    // they have their names already.
    for (std::size_t i = 0; i < settlers_.size() && options_.prove; ++i) {
        const KnownCopy* const known = planned.knownAt(i);
        if (known && known->sum && !settlers_[i]->isOut())
            arrivals.emplace_back(i, Arrival{&file, known->file, planned.shot, std::nullopt});
    }
    // UnloadProgress has to know how many destinations will report before one of them does.
    progress_.arrived(file, arrivals.size());
    // hand() waits while too many files are in the queue, and a stuck disk must not keep the user
    // from stopping the run.
    const DeviceCall waiting;
    for (auto& [index, arrival] : arrivals) settlers_[index]->hand(std::move(arrival));
}

void Copier::noteDate(const PlannedFile& planned, std::span<const std::byte> head) {
    // A file takes the date of an earlier file of its shot, so that a template puts a RAW and its
    // JPEG into the same folder.
    if (planned.shot == lastShot_ && shotDate_) return;
    lastShot_ = planned.shot;
    shotDate_ = pictureDate(head);
}

std::optional<LocalTime> Copier::dateOf(const PlannedFile& planned) const {
    return planned.shot == lastShot_ ? shotDate_ : std::nullopt;
}

void Copier::waitForSettlers() {
    // A disk may take long to flush, and a stop needn't wait for a DeviceCall.
    const DeviceCall waiting;
    for (const auto& settler : settlers_) settler->finish();
}

void Copier::fetch(const UnloadedFile& file, CopySink& into, Share share) {
    ProgressCallback callback([&](int percent) {
        // Returning false breaks the transfer off.
        if (StopFlag::raised()) return false;
        progress_.progress(share.start + percent * share.size / 100);
        return true;
    });
    // The components count bytes in 32 bits; larger files are read by their paths.
    if (file.size > largestSize)
        readByPath(file, into, callback);
    else
        save(file, into, callback);
    into.finish();
    // If the user stops a transfer, the components return success. Only the count of bytes tells
    // whether the file arrived whole before the stop.
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
    // If no copy can be written, the sink refuses the bytes, and the component may fail for that
    // reason. Then the destinations have failed, and not the device.
    if (result != S_OK && !into.isLost()) throwFetchFailure(session_.errorCode());
}

void Copier::readByPath(const UnloadedFile& file, CopySink& into, ProgressCallback& progress) {
    const UniqueHandle source = openToRead(*file.record);
    std::vector<std::byte> block(blockSize);
    for (DWORD read = 1; source && read > 0;) {
        if (!ReadFile(source.get(), block.data(), blockSize, &read, nullptr)) break;
        if (!into.take(std::span(block).first(read))) return;
        const auto percent = static_cast<LONG>(into.size() * 100 / file.size);
        // A read of 0 bytes is the end of the file; fetch() notices if the end came too early.
        if (progress.UpdateProgress(percent) != S_OK || read == 0) return;
    }
    throwFetchFailure(static_cast<LONG>(ExitStatus::ReadFailed));
}

void Copier::throwFetchFailure(LONG code) const {
    // Without a card each call fails in its own way. NotConnected names the cause.
    if (!session_.hasMedia()) code = static_cast<LONG>(ExitStatus::NotConnected);
    throw deviceFailure(code, session_.device(), "Reading it");
}

void Copier::verify(const SourceFile& source, UnloadedFile& file) {
    // The second reading has to come from the card. From the system's cache the same bytes would
    // only be compared with themselves.
    source.forgetContents();
    CopySink second(block_);
    fetch(file, second, {50, 50});
    if (second.sum() != *file.sum) throw readTwice();
}

void Copier::noteFailure(UnloadedFile& file, const Failure& failure) {
    // TooLarge was noted by readState and is the more exact outcome.
    if (file.reading != Outcome::TooLarge) file.reading = Outcome::Failed;
    file.verified = false;
    file.failure = std::make_unique<const Failure>(failure);
    switch (failure.status) {
        case ExitStatus::Stopped:
            ending_ = failure;
            break;
        // These three may mean that the device is gone or was let go, which only the session knows.
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
