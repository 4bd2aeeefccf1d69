#pragma once
// What is going to be done with each file of a device: whether it is copied at all, where to, and
// which destinations have it already.

#include <optional>
#include <string>
#include <vector>

#include "tools/zlkcam/Documents.h"
#include "tools/zlkcam/unload/FileSelection.h"
#include "tools/zlkcam/unload/NameTemplate.h"
#include "tools/zlkcam/unload/Recorder.h"

namespace zlk {

struct PlannedFile {
    const FileRecord* record;
    unsigned shot;  ///< files of one shot have the same number, from 1 on, and stand together
    /// What each destination has of it; empty if none has anything.
    std::vector<std::optional<KnownCopy>> known{};

    const KnownCopy* knownAt(std::size_t destination) const;
};

class UnloadPlan {
  public:
    struct Naming {
        NameTemplate place;
        std::u16string root;    ///< how the device is reached
        std::u16string camera;  ///< its name for people
    };
    /// The records stay the caller's and have to outlive this.
    UnloadPlan(const std::vector<FileRecord>& records, const FileSelection& selection,
               Naming naming);

    /// Finds out what one of so many destinations has already.
    void compareWith(std::size_t destination, std::size_t destinations, Recorder& recorder);

    const std::vector<PlannedFile>& files() const { return files_; }
    std::uint64_t bytes() const { return bytes_; }
    /// Files of the device that weren't chosen.
    std::size_t leftOut() const { return leftOut_; }

    /// Where a file goes, below each destination. `date` is when it was taken, if its bytes say so.
    std::string placeOf(const PlannedFile& file, std::optional<LocalTime> date) const;
    bool needsDate() const { return naming_.place.needsDate(); }

  private:
    const Naming naming_;
    std::vector<PlannedFile> files_;
    std::uint64_t bytes_ = 0;
    std::size_t leftOut_ = 0;
};

}  // namespace zlk
