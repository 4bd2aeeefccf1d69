#include "tools/zlkcam/unload/Settler.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <exception>

namespace zlk {
namespace {

using Clock = std::chrono::steady_clock;

// How long a file waits for others that can be flushed together with it. A longer wait would gain
// little.
constexpr std::chrono::milliseconds gathering{1000};

/// An exception that isn't a Failure comes from a library, and counts as lack of memory.
Failure failureOf(const std::exception& error) {
    const auto* const failure = dynamic_cast<const Failure*>(&error);
    return failure ? *failure
                   : Failure(ExitStatus::NoMemory, std::string("It can't go on: ") + error.what());
}

}  // namespace

Settler::Settler(Destination& destination, Recorder& recorder, std::size_t index, bool prove,
                 const BatchLimits& limits, UnloadProgress& progress)
    : destination_(destination),
      recorder_(recorder),
      index_(index),
      prove_(prove),
      limits_(limits),
      progress_(progress),
      thread_([this] { run(); }) {}

Settler::~Settler() {
    {
        const std::lock_guard lock(inUse_);
        isEnding_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void Settler::begin(unsigned shot) {
    const std::lock_guard lock(inUse_);
    // The thread isn't notified: it looks by itself every second, and waking it for each file would
    // cost more.
    openShot_ = shot;
}

bool Settler::hasRoom() const {
    const bool isFull = waiting_.size() >= limits_.files || waitingBytes_ >= limits_.bytes;
    // If the queue holds only files of the open shot, they can't be settled before the shot is
    // complete. So the queue has to take more, however large the shot is.
    return !isFull || waiting_.front().shot == openShot_;
}

void Settler::hand(Arrival arrival) {
    std::unique_lock lock(inUse_);
    changed_.wait(lock, [this] { return hasRoom(); });
    if (waiting_.empty()) waitingSince_ = Clock::now();
    waitingBytes_ += arrival.file->size;
    waiting_.push_back(std::move(arrival));
    // A notification for each file would wake the thread for nothing.
    if (isWorthwhile()) changed_.notify_all();
}

void Settler::finish() {
    std::unique_lock lock(inUse_);
    // The last shot is complete now, even if nothing follows it.
    isFinishing_ = true;
    changed_.notify_all();
    changed_.wait(lock, [this] { return waiting_.empty() && !isBusy_; });
}

void Settler::dropOut(const Failure& failure) {
    const std::lock_guard lock(inUse_);
    if (!failure_) failure_ = failure;
}

std::optional<Failure> Settler::failure() const {
    const std::lock_guard lock(inUse_);
    return failure_;
}

void Settler::abandon() {
    {
        const std::lock_guard lock(inUse_);
        isAbandoned_ = true;
    }
    // The lock is never released: the program is about to end, and no thread may change the results
    // that are being reported.
    results_.lock();
    destination_.removeCopies();
}

bool Settler::isAbandoned() const {
    const std::lock_guard lock(inUse_);
    return isAbandoned_;
}

bool Settler::isWorthwhile() const {
    // Nothing of a shot is settled before all of it is there, since its files get names that belong
    // together.
    if (waiting_.empty() || (!isFinishing_ && waiting_.front().shot == openShot_)) return false;
    return isFinishing_ || waiting_.size() >= limits_.files || waitingBytes_ >= limits_.bytes ||
           Clock::now() - waitingSince_ >= gathering;
}

Batch Settler::takeComplete() {
    // The open shot is always at the end of the queue.
    const auto open = std::ranges::find_if(waiting_, [this](const Arrival& arrival) {
        return !isFinishing_ && arrival.shot == openShot_;
    });
    Batch batch(std::make_move_iterator(waiting_.begin()), std::make_move_iterator(open));
    waiting_.erase(waiting_.begin(), open);
    for (const Arrival& arrival : batch) waitingBytes_ -= arrival.file->size;
    waitingSince_ = Clock::now();
    return batch;
}

void Settler::run() {
    for (std::unique_lock lock(inUse_);;) {
        // The timeout is needed because nothing notifies the thread when the time of gathering is
        // over.
        changed_.wait_for(lock, gathering, [this] { return isEnding_ || isWorthwhile(); });
        if (isEnding_) return;
        if (!isWorthwhile()) continue;
        // The batch is settled without the lock, so that the next files can be handed over
        // meanwhile.
        Batch batch = takeComplete();
        isBusy_ = true;
        lock.unlock();
        // There is room in the queue again.
        changed_.notify_all();
        settle(batch);
        // The hidden copies close here, before `finish` may see that all is done.
        batch.clear();
        lock.lock();
        isBusy_ = false;
        changed_.notify_all();
    }
}

void Settler::settle(Batch& batch) {
    // Only what is on the disk gets a name. Otherwise a power cut could leave a named file without
    // contents.
    const bool isFlushed = !isAbandoned() && flush(batch);
    for (auto first = batch.begin(); first != batch.end();) {
        const auto last = std::find_if(
            first, batch.end(), [&](const Arrival& each) { return each.shot != first->shot; });
        if (isFlushed && !isAbandoned()) settleShot({first, last});
        for (auto each = first; each != last; ++each) progress_.settled(*each->file);
        first = last;
    }
    // On FAT, files that were moved need another flush.
    destination_.flushMoved();
}

bool Settler::flush(Batch& batch) {
    std::vector<HiddenCopy*> copies;
    for (Arrival& arrival : batch)
        if (arrival.copy) copies.push_back(&*arrival.copy);
    try {
        flushCopies(copies);
        return true;
    } catch (const std::exception& error) {
        const Failure failure = failureOf(error);
        for (Arrival& arrival : batch) fail(arrival, failure);
        // A flush that fails doesn't say which file is concerned, so that none can be trusted, and
        // the disk may have failed.
        dropOut(failure);
        return false;
    }
}

void Settler::settleShot(std::span<Arrival> shot) {
    std::vector<Placement> placements;
    std::vector<Arrival*> arrivals;
    // First the files are proved, if that is wished. Then those that passed are placed together.
    for (Arrival& arrival : shot) {
        if (!arrival.copy) {
            settleThere(arrival, arrival.wanted);
        } else if (settleCopy(arrival)) {
            const UnloadedFile& file = *arrival.file;
            placements.push_back({&*arrival.copy, arrival.wanted, file.size, *file.sum});
            arrivals.push_back(&arrival);
        }
    }
    if (!arrivals.empty()) place(arrivals, placements);
}

bool Settler::settleCopy(Arrival& arrival) {
    if (!prove_) return true;
    try {
        noteProof(arrival, prove(arrival.copy->file(), *arrival.file->sum));
        return true;
    } catch (const std::exception& error) {
        fail(arrival, failureOf(error));
        return false;
    }
}

void Settler::settleThere(Arrival& arrival, const std::string& file) {
    try {
        if (prove_) {
            // The file may be an older one, so that nothing says that it was ever flushed.
            const Descriptor there = destination_.openFile(file);
            if (!there || ::fsync(there.get()) != 0)
                throw Failure(ExitStatus::FileUnusable,
                              std::string("It is there already, as a file that can't be written "
                                          "through to the disk: ") +
                                  std::strerror(errno) + ".");
            noteProof(arrival, prove(there.get(), *arrival.file->sum));
        }
        conclude(arrival, Outcome::WasThere, file);
    } catch (const std::exception& error) {
        fail(arrival, failureOf(error));
    }
}

void Settler::place(std::span<Arrival* const> arrivals, std::span<Placement> placements) {
    std::optional<Failure> failure;
    {
        // abandon() takes this lock, too: it waits until the names that were given are in the
        // results, so that the report doesn't miss a copy.
        const std::lock_guard lock(results_);
        try {
            destination_.place(placements);
        } catch (const std::exception& error) {
            failure = failureOf(error);
        }
        for (std::size_t i = 0; i < arrivals.size(); ++i)
            if (!placements[i].placed.empty() && !placements[i].wasThere)
                take(*arrivals[i], Outcome::Copied, placements[i].placed);
    }
    for (std::size_t i = 0; i < arrivals.size(); ++i) {
        // The destination found a file with the same bytes. It counts as the copy, and has to be
        // proved in place of the hidden copy.
        if (placements[i].wasThere)
            settleThere(*arrivals[i], placements[i].placed);
        else if (placements[i].placed.empty())
            fail(*arrivals[i], failure.value());
    }
}

void Settler::noteProof(Arrival& arrival, const Proof& proof) {
    const std::lock_guard lock(results_);
    CopyResult& result = resultOf(arrival);
    result.proved = true;
    result.fromMedium = proof.isFromMedium;
}

void Settler::conclude(Arrival& arrival, Outcome outcome, const std::string& file) {
    const std::lock_guard lock(results_);
    take(arrival, outcome, file);
}

void Settler::take(Arrival& arrival, Outcome outcome, const std::string& file) {
    CopyResult& result = resultOf(arrival);
    result.outcome = outcome;
    result.file = file;
    recorder_.note(*arrival.file, file);
}

void Settler::fail(Arrival& arrival, const Failure& failure) {
    // A stop isn't the file's fault. The file counts as not reached.
    if (failure.status == ExitStatus::Stopped) return;
    const std::lock_guard lock(results_);
    resultOf(arrival).fail(failure);
}

}  // namespace zlk
