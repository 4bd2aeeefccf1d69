#pragma once
// Reads what all earlier runs have recorded of a folder: the generations of its media hash list
// (`ascmhl/`), and the sums files that lie directly in the folder.
//
// Everything is reached from an open folder, whatever becomes of its path. Anybody who may write
// there can forge any record, so a record is only trusted to describe what a file of the folder
// should hold. A manifest or sums file that can't be used is left out as a whole, and noted in
// `troubles`.

#include <string>
#include <string_view>
#include <vector>

#include "tools/zlkcam/history/HashRecord.h"

namespace zlk {

/// The records of one folder, merged from its manifests and sums files. Constant once it was read,
/// so any thread may use it.
class FolderHistory {
  public:
    /// Reads the history of `folder`, an open descriptor that stays the caller's. Throws Failure
    /// only if a stop is wished.
    static FolderHistory read(int folder);

    /// The newest record of each file by its present path, sorted by path. What a newer record of
    /// the same bytes lacks is taken over from older ones. For a file that was found damaged, the
    /// sums are those that it should have; the record has none if nobody ever recorded them.
    const std::vector<HashRecord>& records() const { return records_; }
    /// Null if there is no record of the file.
    const HashRecord* find(std::string_view path) const;

    /// A run whose manifest or sums file was used; HashRecord::run is an index of `runs`.
    struct Run {
        std::string file;    ///< the manifest or sums file, below the folder
        std::string device;  ///< the device that was copied from; empty if unknown
    };
    const std::vector<Run>& runs() const { return runs_; }

    /// A file or folder of the history that can't be used, or a listed manifest that is missing.
    struct Trouble {
        std::string file;  ///< below the folder
        std::string reason;
    };
    const std::vector<Trouble>& troubles() const { return troubles_; }

    /// Whether there was no manifest or sums file to use, and no trouble.
    bool empty() const { return runs_.empty() && troubles_.empty(); }

  private:
    class Reader;
    std::vector<HashRecord> records_;
    std::vector<Run> runs_;
    std::vector<Trouble> troubles_;
};

/// Whether an entry directly in a folder belongs to its history instead of its files: the folder
/// `ascmhl`, a sums file, or a report.
bool isHistoryName(std::string_view name);

}  // namespace zlk
