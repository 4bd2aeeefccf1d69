#pragma once
// The plan of an unloading: which files of a device are copied, where to, and which of them a
// destination has already.

#include <optional>
#include <string>
#include <vector>

#include "tools/zlkcam/Documents.h"
#include "tools/zlkcam/unload/FileSelection.h"
#include "tools/zlkcam/unload/NameTemplate.h"
#include "tools/zlkcam/unload/Recorder.h"

namespace zlk {

/// A file that was chosen, and what is known of its copies.
struct PlannedFile {
    const FileRecord* record;
    unsigned shot;  ///< from 1 on; files of one shot have the same number and are neighbours
    /// For each destination the copy that it has already. Empty if no destination has one, to save
    /// memory.
    std::vector<std::optional<KnownCopy>> known{};

    /// The copy that a destination has; null if it has none.
    const KnownCopy* knownAt(std::size_t destination) const;
};

/// The chosen files, in the order in which they are copied. Made before the copying; constant from
/// then on, so that threads may share it.
class UnloadPlan {
  public:
    /// What the names of copies are made from, apart from the files themselves.
    struct Naming {
        NameTemplate place;
        std::u16string root;    ///< path of the device's root
        std::u16string camera;  ///< the device's name for people
    };
    /// Chooses and orders the files. The records stay the caller's and have to outlive this.
    UnloadPlan(const std::vector<FileRecord>& records, const FileSelection& selection,
               Naming naming);

    /// Asks `recorder` which files its destination has already. `destination` is the index of that
    /// destination, and `destinations` the number of all.
    void compareWith(std::size_t destination, std::size_t destinations, Recorder& recorder);

    const std::vector<PlannedFile>& files() const { return files_; }
    /// The listed sizes of all chosen files together.
    std::uint64_t bytes() const { return bytes_; }
    /// The number of the device's files that weren't chosen.
    std::size_t leftOut() const { return leftOut_; }

    /// The path of a file's copy below each destination. `date` is when the picture was taken, if
    /// its bytes say so; else the list's date is used.
    std::string placeOf(const PlannedFile& file, std::optional<LocalTime> date) const;
    bool needsDate() const { return naming_.place.needsDate(); }

  private:
    const Naming naming_;
    std::vector<PlannedFile> files_;
    std::uint64_t bytes_ = 0;
    std::size_t leftOut_ = 0;
};

}  // namespace zlk
