#pragma once
// What all earlier runs have recorded of a folder: the generations of its media hash list
// (`ascmhl/`) and the sums files that lie in it.
//
// Everything is reached from an open folder, whatever becomes of its path. Whoever may write there
// can write any record: none is taken at its word for more than what a file of the folder should
// hold. What can't be used is left out whole, and named.

#include <string>
#include <string_view>
#include <vector>

#include "tools/zlkcam/history/HashRecord.h"

namespace zlk {

class FolderHistory {
  public:
    /// Reads what there is; `folder` is an open descriptor of the folder and stays the caller's.
    /// Throws Failure only where a stop is wished.
    static FolderHistory read(int folder);

    /// The newest record of each file, by its present path; sorted by path. What a newer one of
    /// the same bytes doesn't say is taken over from older ones. Of a file that was found damaged,
    /// the sums are those that it should have; there are none if nobody recorded them.
    const std::vector<HashRecord>& records() const { return records_; }
    /// Null if the file isn't recorded.
    const HashRecord* find(std::string_view path) const;

    /// Where a record, or its `source`, comes from.
    struct Run {
        std::string file;    ///< the manifest or sums file, below the folder
        std::string device;  ///< what was copied from; empty if it doesn't say
    };
    const std::vector<Run>& runs() const { return runs_; }

    /// A file of the history that was left out.
    struct Trouble {
        std::string file;  ///< below the folder
        std::string reason;
    };
    const std::vector<Trouble>& troubles() const { return troubles_; }

    /// Whether there is neither a record nor anything that may have held one.
    bool empty() const { return runs_.empty() && troubles_.empty(); }

  private:
    class Reader;
    std::vector<HashRecord> records_;
    std::vector<Run> runs_;
    std::vector<Trouble> troubles_;
};

/// Whether an entry directly in a folder belongs to its history and is none of its files: the
/// folder `ascmhl`, a sums file, or the report of a run.
bool isHistoryName(std::string_view name);

}  // namespace zlk
