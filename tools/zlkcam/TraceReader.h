#pragma once
// Follows the ring of trace records in a buffer that writers of other processes fill.
//
//     FF FF | time, 4 bytes | 3F | 00 | category 00 | message 00 | one byte that says nothing
//
// A record is never split: where the rest of the buffer is too short for one, the writer wipes it
// with zeros and goes on at offset 0. Nobody waits for the reader, so that a writer may overtake
// it; that shows in the last record that was read, which isn't there any more then. Neither FF
// occurs in UTF-8, so that the next whole record can be found from anywhere.

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/types.h"

namespace zlk {

struct TraceRecord {
    std::uint32_t time = 0;  ///< milliseconds since the log's start
    std::string category;
    std::string message;
};

class TraceReader {
  public:
    /// Copies what is new. `ring` is the whole buffer, `writeOffset` a value within it that fits
    /// it; nobody may write meanwhile. Keep it short: every traced process waits.
    void fetch(std::span<const BYTE> ring, std::size_t writeOffset);

    /// What the last fetch copied, as records in their order.
    std::vector<TraceRecord> records();

    /// Bytes that were overwritten unread since the last question: at least that many.
    std::uint64_t takeLost();

  private:
    bool wasOvertaken(std::span<const BYTE> ring, std::size_t writeOffset) const;

    std::size_t position_ = 0;         // behind the last record that was read
    std::vector<BYTE> last_;           // the last bytes in front of it
    std::vector<BYTE> older_, newer_;  // the two pieces of the last fetch
    std::uint64_t lost_ = 0;
};

/// The whole records of `bytes`; what is none is passed over.
void parseTraceRecords(std::span<const BYTE> bytes, std::vector<TraceRecord>& records);

}  // namespace zlk
