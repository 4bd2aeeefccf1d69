#pragma once
// The journal of a run: lines about its finished copies, in the run's private folder. If the run is
// killed, or can't write its record, a later run continues from the journal.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/descriptor.h"
#include "tools/zlkcam/ContentSum.h"

namespace zlk {

/// A line of the journal: a finished copy, and the file of the device that it is a copy of.
struct JournalEntry {
    std::string source;  ///< path on the device, below its root
    std::string file;    ///< path below the destination
    std::uint64_t size = 0;
    std::int64_t modified = -1;  ///< seconds since 1970 UTC; -1: unknown
    ContentSum sum{};
    std::string sha256{};  ///< hexadecimal digits; empty: it wasn't made
};

/// The journal that a run writes. Used by one thread at a time.
class Journal {
  public:
    /// Opens or creates the journal in a run's folder. If that fails, for instance because the disk
    /// is full, a killed run would have to start anew. That costs time only, so it isn't an error.
    explicit Journal(int runFolder);

    /// Appends a line; silently does nothing once opening or writing has failed, and for a path
    /// that a line can't hold.
    void add(const JournalEntry& entry);

    /// Reads the journal of a killed run, up to the first line that is damaged.
    static std::vector<JournalEntry> read(int runFolder);

  private:
    Descriptor file_;
};

}  // namespace zlk
