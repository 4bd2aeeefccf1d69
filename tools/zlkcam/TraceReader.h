#pragma once
// Reads the ring buffer of trace records that other processes write.
//
//     FF FF | time, 4 bytes | 3F | 00 | category 00 | message 00 | one byte that says nothing
//
// A record is never split. If the next one might not fit into the rest of the buffer, the writer
// fills the rest with zeros and goes on at offset 0. Writers don't wait until a record was read,
// and may overtake the reader. The reader notices that, because the last bytes that it read have
// changed. The byte FF doesn't occur in UTF-8, so that the next whole record can be found from any
// position.

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/types.h"

namespace zlk {

/// A line of the log.
struct TraceRecord {
    std::uint32_t time = 0;  ///< milliseconds since the log's start
    std::string category;
    std::string message;
};

/// Finds what is new in the buffer since its last look. Used by one thread.
class TraceReader {
  public:
    /// Copies what is new. `ring` is the whole buffer. `writeOffset`, at most its size, is where
    /// the newest record ends. The caller holds the log's mutex, for which all traced processes
    /// wait, so parsing is left to records().
    void fetch(std::span<const BYTE> ring, std::size_t writeOffset);

    /// Takes out the records that the last fetch copied, in order.
    std::vector<TraceRecord> records();

    /// At least how many bytes were overwritten unread since the last call.
    std::uint64_t takeLost();

  private:
    /// Whether the writer has passed the reader's position.
    bool wasOvertaken(std::span<const BYTE> ring, std::size_t writeOffset) const;

    // Where the last fetch ended.
    std::size_t position_ = 0;
    // The last bytes before `position_`, as the last fetch found them.
    std::vector<BYTE> last_;
    // The pieces that the last fetch copied: from the writer's previous round of the buffer, and
    // from its present one.
    std::vector<BYTE> older_, newer_;
    std::uint64_t lost_ = 0;
};

/// Appends the whole records in `bytes`; all else is skipped.
void parseTraceRecords(std::span<const BYTE> bytes, std::vector<TraceRecord>& records);

}  // namespace zlk
