#pragma once
// What a run has copied so far, a line a file, in its private folder. A run that is killed leaves
// it for the next one; a run that comes to its end writes a manifest in its place.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/descriptor.h"
#include "tools/zlkcam/ContentSum.h"

namespace zlk {

struct JournalEntry {
    std::string source;  ///< path on the device, below its root
    std::string file;    ///< path below the destination
    std::uint64_t size = 0;
    std::int64_t modified = -1;  ///< seconds since 1970 UTC; -1: unknown
    ContentSum sum{};
    std::string sha256{};  ///< digits; empty: it wasn't made
};

class Journal {
  public:
    /// Begins one in a run's folder. Without one, where the disk is full, a killed run begins anew,
    /// which loses time and nothing else: so no error is told.
    explicit Journal(int runFolder);

    void add(const JournalEntry& entry);

    /// Of a killed run's folder: what is whole of its lines.
    static std::vector<JournalEntry> read(int runFolder);

  private:
    Descriptor file_;
};

}  // namespace zlk
