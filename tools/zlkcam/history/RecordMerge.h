#pragma once
// Puts what runs have recorded one after the other together: the newest record of each file.

#include <cstdint>
#include <vector>

#include "tools/zlkcam/history/RunContent.h"

namespace zlk {

class RecordMerge {
  public:
    /// Adds what a run recorded after those that were added before; `run` is its number.
    /// Throws UnusableFile, with nothing added, where that would come to too many files.
    void add(RunContent content, std::uint32_t run);

    /// All of them, sorted by path.
    std::vector<HashRecord> take();

  private:
    void carryOver(RunContent& content);

    std::vector<HashRecord> records_;
};

}  // namespace zlk
