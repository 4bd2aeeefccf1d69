#pragma once
// Makes of the files that have arrived at a destination copies that count: they are flushed, read
// back and compared, and only then get their names. It does so on a thread of its own while the
// device gives the next files, and for all together that arrive in a while, since a disk is flushed
// for many files in about the time of one.

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

/// A file whose bytes are all there, but under no name yet.
struct Arrival {
    UnloadedFile* file;
    std::string wanted;              ///< path below the destination
    unsigned shot;                   ///< neighbours with the same one keep their names together
    std::optional<HiddenCopy> copy;  ///< none: an earlier run's copy lies at `wanted`
};
using Batch = std::vector<Arrival>;

/// What may wait to be settled. Files are open until then.
struct BatchLimits {
    std::uint64_t bytes = 256 << 20;
    std::size_t files = 250;
};

class Settler {
  public:
    /// `index` is the destination's, in each file's `copies`.
    Settler(Destination& destination, Recorder& recorder, std::size_t index, bool prove,
            const BatchLimits& limits, UnloadProgress& progress);
    ~Settler();
    Settler(const Settler&) = delete;
    Settler& operator=(const Settler&) = delete;

    Destination& destination() const { return destination_; }
    std::size_t index() const { return index_; }
    /// What arrives next belongs to this shot, and those of others are complete.
    void begin(unsigned shot);
    /// Waits while too much is waiting.
    void hand(Arrival arrival);
    /// Waits until all that was handed over is settled.
    void finish();
    /// The destination can't be used any more for what hasn't arrived there yet.
    void dropOut(const Failure& failure);
    /// Why it dropped out.
    std::optional<Failure> failure() const;
    bool isOut() const { return failure().has_value(); }
    /// What hasn't got its name gets none any more. For a program that ends in the midst of it: no
    /// thread changes the results afterwards.
    void abandon();

  private:
    void run();
    bool hasRoom() const;
    bool isWorthwhile() const;
    Batch takeComplete();
    void settle(Batch& batch);
    /// False if it failed, for all of them.
    bool flush(Batch& batch);
    void settleShot(std::span<Arrival> shot);
    bool settleCopy(Arrival& arrival);
    /// For one whose copy is a file that was there before.
    void settleThere(Arrival& arrival, const std::string& file);
    void place(std::span<Arrival* const> arrivals, std::span<Placement> placements);
    void noteProof(Arrival& arrival, const Proof& proof);
    void conclude(Arrival& arrival, Outcome outcome, const std::string& file);
    void take(Arrival& arrival, Outcome outcome, const std::string& file);  // in `results_`
    void fail(Arrival& arrival, const Failure& failure);
    CopyResult& resultOf(const Arrival& arrival) const { return arrival.file->copies[index_]; }
    bool isAbandoned() const;

    Destination& destination_;
    Recorder& recorder_;
    const std::size_t index_;
    const bool prove_;
    const BatchLimits limits_;
    UnloadProgress& progress_;

    std::mutex results_;        // of this destination, in all files
    mutable std::mutex inUse_;  // held for what stands below
    std::condition_variable changed_;
    Batch waiting_;
    std::uint64_t waitingBytes_ = 0;
    unsigned openShot_ = 0;  // nothing of it is settled yet
    std::chrono::steady_clock::time_point waitingSince_;
    bool isFinishing_ = false, isBusy_ = false, isEnding_ = false, isAbandoned_ = false;
    std::optional<Failure> failure_;
    std::thread thread_;
};

}  // namespace zlk
