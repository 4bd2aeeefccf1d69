#pragma once
// Reads the files of an unloading from the device, each for all destinations that need it together.
// The copy for a destination is handed on to that destination's Settler, which finishes it.

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

/// Carries out the copying of one unloading. Used by one thread, the one that holds the device;
/// `abandon` is the exception.
class Copier {
  public:
    using Settlers = std::vector<std::unique_ptr<Settler>>;

    /// At most `filesAhead` files of a volume are opened before their turn, so that the system
    /// reads them from the card while earlier ones are being written. All references stay the
    /// caller's.
    Copier(const PhotoSession& session, const UnloadPlan& plan, const Settlers& settlers,
           const UnloadOptions& options, std::size_t filesAhead, UnloadProgress& progress);

    /// Copies the files of the plan and waits until they are settled. `files` has one entry for
    /// each file of the plan, in the same order, and receives the results. The copying goes on
    /// after a file that fails. It ends early if the device is gone or was let go, if no
    /// destination can be used any more, or if the user stops it.
    void copy(std::vector<UnloadedFile>& files);

    /// For another thread, while this object's thread hangs in a DeviceCall and never returns:
    /// stops the settlers, and notes the stop as `ending` and as the failure of a file that is
    /// being read. Only the results may be used afterwards.
    void abandon();

    /// The failure that ended the run, if there is one. Files that `copy` didn't reach have no
    /// failure of their own.
    const std::optional<Failure>& ending() const { return ending_; }

  private:
    /// A file on its way to one destination: the hidden copy, which the settler takes over if all
    /// of the file was written to it.
    struct Lane {
        Settler* settler;
        HiddenCopy copy;
    };
    using Lanes = std::vector<Lane>;
    /// The part of a file's progress, in percent, that one reading fills: `size` percent from
    /// `start` on.
    struct Share {
        int start, size;
    };

    /// Returns the file at this index, and opens up to `filesAhead` of the files that follow it.
    std::unique_ptr<SourceFile> takeSource(std::size_t index);
    void copyFile(const PlannedFile& planned, const SourceFile& source, UnloadedFile& file);
    /// Finds out the file's true size and time. Throws Failure if the file can't be looked at any
    /// more, if its size isn't the listed one, or if it is too large for a camera to give.
    static void readState(const SourceFile& source, UnloadedFile& file);
    /// Makes a hidden copy in each destination that needs the file.
    Lanes openLanes(const PlannedFile& planned, UnloadedFile& file);
    /// Reads the file into the lanes and removes from `lanes` those that couldn't be written. Notes
    /// the file's sums, unless all lanes were removed. With --verify the file is read twice, or
    /// only once if an earlier run has left its sum. Throws Failure if a reading fails, the
    /// readings differ, or the file changed meanwhile.
    void read(const PlannedFile& planned, const SourceFile& source, UnloadedFile& file,
              Lanes& lanes);
    void closeLanes(UnloadedFile& file, Lanes& lanes, const CopySink& sink);
    /// Takes over the results of copies that the destinations had before this run.
    void takeKnown(const PlannedFile& planned, UnloadedFile& file);
    /// Hands the new copies to the settlers, and those of killed runs that have to be proved.
    void arrive(const PlannedFile& planned, UnloadedFile& file, Lanes& lanes);
    /// Remembers the date of the current shot, which is the date of the shot's first file that has
    /// a date.
    void noteDate(const PlannedFile& planned, std::span<const std::byte> head);
    std::optional<LocalTime> dateOf(const PlannedFile& planned) const;
    void waitForSettlers();

    /// Gets a file's bytes into the sink `into`: the device writes them, or they are read by the
    /// file's path if it is too large for a component. The reading fills the part `share` of the
    /// file's progress. Throws Failure if the reading fails or bytes are missing at its end, but
    /// not if all copies failed, which `into` tells.
    void fetch(const UnloadedFile& file, CopySink& into, Share share);
    void save(const UnloadedFile& file, CopySink& into, ProgressCallback& progress);
    /// For files of 4 GiB and more, whose bytes a component can't count.
    void readByPath(const UnloadedFile& file, CopySink& into, ProgressCallback& progress);
    /// Reads the file a second time, and throws Failure if the bytes differ.
    void verify(const SourceFile& source, UnloadedFile& file);
    [[noreturn]] void throwFetchFailure(LONG code) const;
    void noteFailure(UnloadedFile& file, const Failure& failure);
    /// None as long as one destination can be used; else why the first destination can't.
    std::optional<Failure> endOfDestinations() const;

    const PhotoSession& session_;
    const UnloadPlan& plan_;
    const Settlers& settlers_;
    const UnloadOptions options_;
    const std::size_t filesAhead_;
    UnloadProgress& progress_;

    // Memory of CopySink, reused so that it isn't allocated for each file.
    std::vector<std::byte> block_;
    // The next files of the plan, in order; null for one that wasn't opened ahead.
    std::deque<std::unique_ptr<SourceFile>> ahead_;
    // The shot of the last file that was read, and the date of that shot; shots count from 1.
    unsigned lastShot_ = 0;
    std::optional<LocalTime> shotDate_;
    // The file that is being read from the device; `abandon` looks at this on another thread.
    UnloadedFile* inHand_ = nullptr;
    std::optional<Failure> ending_;
};

/// The failure of a run that the user has stopped.
Failure stoppedUnloading();

}  // namespace zlk
