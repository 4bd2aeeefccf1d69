#pragma once
// Merges what several runs have recorded into one list with the newest record of each file.

#include <cstdint>
#include <vector>

#include "tools/zlkcam/history/RunContent.h"

namespace zlk {

/// Takes the records of run after run, from the oldest run to the newest. Used by one thread.
class RecordMerge {
  public:
    /// Adds the records of a run, whose index in FolderHistory::runs() is `run`. Throws
    /// UnusableFile, with nothing added, if there would be too many records.
    void add(RunContent content, std::uint32_t run);

    /// Returns all records, sorted by path, and leaves this empty.
    std::vector<HashRecord> take();

  private:
    /// Fills records from older ones of the same file, also under a former name, and removes the
    /// older records of renamed files.
    void carryOver(RunContent& content);

    std::vector<HashRecord> records_;
};

}  // namespace zlk
