#pragma once
// Settles the files that arrive at a destination: a Settler flushes their copies, reads each back
// and compares it if that is wished, and only then gives it its name. A copy that has its name
// already is flushed and read back where it lies. All this happens on a thread of the Settler's own
// while the device gives the next files. Files that arrive within about a second are mostly settled
// together, since flushing a disk takes about as long for many files as for one.

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <thread>
#include <vector>

#include "tools/zlkcam/unload/Destination.h"
#include "tools/zlkcam/unload/Prover.h"
#include "tools/zlkcam/unload/Recorder.h"
#include "tools/zlkcam/unload/UnloadProgress.h"
#include "tools/zlkcam/unload/UnloadedFile.h"

namespace zlk {

/// A file of the device that has arrived at a destination: all bytes of its copy are written.
struct Arrival {
    UnloadedFile* file;
    std::string wanted;              ///< path below the destination
    unsigned shot;                   ///< files of one shot get names that belong together
    std::optional<HiddenCopy> copy;  ///< none: an earlier run's copy lies at `wanted`
};
/// What is settled together: the files of one or more complete shots.
using Batch = std::vector<Arrival>;

/// The queue of waiting files is full when it has so many bytes or files. It takes more only if a
/// single shot is larger. Each waiting hidden copy has an open descriptor.
struct BatchLimits {
    std::uint64_t bytes = 256 << 20;
    std::size_t files = 250;
};

/// One for each destination, used by the thread of the Copier. Other threads may call only
/// `failure`, `isOut` and `abandon`. The Settler's own thread writes the results of the files that
/// are handed over.
class Settler {
  public:
    /// `index` is the position of the destination's result in each file's `copies`. References stay
    /// the caller's and outlive this. The thread starts here.
    Settler(Destination& destination, Recorder& recorder, std::size_t index, bool prove,
            const BatchLimits& limits, UnloadProgress& progress);
    /// Stops the thread; what is still waiting isn't settled.
    ~Settler();
    Settler(const Settler&) = delete;
    Settler& operator=(const Settler&) = delete;

    Destination& destination() const { return destination_; }
    std::size_t index() const { return index_; }
    /// Says that the files which arrive next belong to this shot, and that earlier shots are
    /// complete.
    void begin(unsigned shot);
    /// Takes over a file. Blocks while the queue is full.
    void hand(Arrival arrival);
    /// Blocks until all that was handed over is settled.
    void finish();
    /// Gives the destination up for files that haven't arrived there yet. The first failure counts.
    void dropOut(const Failure& failure);
    /// Why the destination was given up; none if it wasn't. Thread-safe.
    std::optional<Failure> failure() const;
    bool isOut() const { return failure().has_value(); }
    /// For a program that ends in the middle of the work: copies that have no name yet get none and
    /// are deleted, and this object changes no results after that. Can't be undone.
    void abandon();

  private:
    void run();
    /// Whether the queue takes another file. Needs `inUse_`.
    bool hasRoom() const;
    /// Whether the thread should settle what waits. Needs `inUse_`.
    bool isWorthwhile() const;
    /// Takes the files of complete shots out of the queue. Needs `inUse_`.
    Batch takeComplete();
    void settle(Batch& batch);
    /// Flushes the copies of a batch. If that fails, all files of the batch fail, the destination
    /// is given up, and the result is false.
    bool flush(Batch& batch);
    void settleShot(std::span<Arrival> shot);
    /// Proves a new copy, if that is wished; false if the proof failed.
    bool settleCopy(Arrival& arrival);
    /// Takes a file that is in the destination already for the copy of `arrival`, and proves it if
    /// that is wished.
    void settleThere(Arrival& arrival, const std::string& file);
    void place(std::span<Arrival* const> arrivals, std::span<Placement> placements);
    void noteProof(Arrival& arrival, const Proof& proof);
    void conclude(Arrival& arrival, Outcome outcome, const std::string& file);
    // Enters a finished copy into the results and the journal. Needs `results_`.
    void take(Arrival& arrival, Outcome outcome, const std::string& file);
    void fail(Arrival& arrival, const Failure& failure);
    CopyResult& resultOf(const Arrival& arrival) const { return arrival.file->copies[index_]; }
    bool isAbandoned() const;

    Destination& destination_;
    Recorder& recorder_;
    const std::size_t index_;
    const bool prove_;
    const BatchLimits limits_;
    UnloadProgress& progress_;

    // Guards this destination's results in all files. Never held together with `inUse_`, except
    // after abandon(), which keeps it locked.
    std::mutex results_;
    mutable std::mutex inUse_;  // guards all below but the thread
    // Notified when the thread has something to do or has done it, and when it has to end.
    std::condition_variable changed_;
    Batch waiting_;
    std::uint64_t waitingBytes_ = 0;
    unsigned openShot_ = 0;  // its files must not be settled yet
    // When the first file came into the empty queue, or a batch was last taken out.
    std::chrono::steady_clock::time_point waitingSince_;
    bool isFinishing_ = false, isBusy_ = false, isEnding_ = false, isAbandoned_ = false;
    std::optional<Failure> failure_;
    std::thread thread_;
};

}  // namespace zlk
