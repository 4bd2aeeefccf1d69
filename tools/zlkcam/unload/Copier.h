#pragma once
// Has the device give each file once, for all destinations together, and hands what has arrived to
// those who settle it there.

#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/zlkcam/ProgressCallback.h"
#include "tools/zlkcam/Session.h"
#include "tools/zlkcam/unload/CopySink.h"
#include "tools/zlkcam/unload/Settler.h"
#include "tools/zlkcam/unload/SourceFile.h"
#include "tools/zlkcam/unload/UnloadPlan.h"
#include "tools/zlkcam/unload/UnloadProgress.h"
#include "tools/zlkcam/unload/UnloadedFile.h"

namespace zlk {

class Copier {
  public:
    using Settlers = std::vector<std::unique_ptr<Settler>>;

    /// Of a volume so many files are opened ahead, for the system to read them while the ones
    /// before are written.
    Copier(const PhotoSession& session, const UnloadPlan& plan, const Settlers& settlers,
           const UnloadOptions& options, std::size_t filesAhead, UnloadProgress& progress);

    /// Copies the plan's files, of which `files` has one each, and waits until they are settled.
    /// Goes on after a failed file, unless nothing more can be copied: the device is gone, no
    /// destination can be used any more, or the user wants it to stop.
    void copy(std::vector<UnloadedFile>& files);

    /// Puts everything in order while a call in `copy` doesn't come to its end; only the results
    /// may be used afterwards.
    void abandon();

    /// Why the files that weren't reached weren't.
    const std::optional<Failure>& ending() const { return ending_; }

  private:
    /// A file on its way to one destination.
    struct Lane {
        Settler* settler;
        HiddenCopy copy;
    };
    using Lanes = std::vector<Lane>;
    /// What share of a file's progress a reading fills: percent of percent, from `start` on.
    struct Share {
        int start, size;
    };

    /// Of the file with this index, and opens those that follow.
    std::unique_ptr<SourceFile> takeSource(std::size_t index);
    void copyFile(const PlannedFile& planned, const SourceFile& source, UnloadedFile& file);
    static void readState(const SourceFile& source, UnloadedFile& file);
    Lanes openLanes(const PlannedFile& planned, UnloadedFile& file);
    /// Reads the file into the lanes; those that failed are gone then.
    void read(const PlannedFile& planned, const SourceFile& source, UnloadedFile& file,
              Lanes& lanes);
    void closeLanes(UnloadedFile& file, Lanes& lanes, const CopySink& sink);
    void takeKnown(const PlannedFile& planned, UnloadedFile& file);
    void arrive(const PlannedFile& planned, UnloadedFile& file, Lanes& lanes);
    void noteDate(const PlannedFile& planned, std::span<const std::byte> head);
    std::optional<LocalTime> dateOf(const PlannedFile& planned) const;
    void waitForSettlers();

    /// Has the device give a file to `into`.
    void fetch(const UnloadedFile& file, CopySink& into, Share share);
    void save(const UnloadedFile& file, CopySink& into, ProgressCallback& progress);
    /// For what has more bytes than a component counts: the device is claimed, and the file lies at
    /// a path.
    void readByPath(const UnloadedFile& file, CopySink& into, ProgressCallback& progress);
    void verify(const SourceFile& source, UnloadedFile& file);
    [[noreturn]] void throwFetchFailure(LONG code) const;
    void noteFailure(UnloadedFile& file, const Failure& failure);
    std::optional<Failure> endOfDestinations() const;

    const PhotoSession& session_;
    const UnloadPlan& plan_;
    const Settlers& settlers_;
    const UnloadOptions options_;
    const std::size_t filesAhead_;
    UnloadProgress& progress_;

    std::vector<std::byte> block_;                   // of the file in hand
    std::deque<std::unique_ptr<SourceFile>> ahead_;  // of the next files; null: not opened
    unsigned lastShot_ = 0;
    std::optional<LocalTime> shotDate_;
    UnloadedFile* inHand_ = nullptr;
    std::optional<Failure> ending_;
};

/// What a run ends with that the user has stopped.
Failure stoppedUnloading();

}  // namespace zlk
