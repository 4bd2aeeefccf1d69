#pragma once
// The faults that a tester arms: what goes wrong, in which operation and phase, and how often.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/zlkcamsim/Codes.h"
#include "tools/zlkcamsim/Container.h"

namespace zlk::camsim {

/// What goes wrong. The comments say what a kind does with the fields of Fault.
enum class FaultKind {
    // In the phases of the command, the data and the response. Stall may also come after the
    // response.
    Unplug,   ///< the cable is pulled
    Stall,    ///< the pipe halts
    Silence,  ///< nothing comes, or is taken, any more
    Slow,     ///< `value` ms pass first
    // In the phase of the command.
    Answer,  ///< the operation isn't run; `value` is the response's code
    // In a data phase to the host.
    Short,        ///< the transfer ends after `at` bytes of the payload
    Truncate,     ///< the payload is cut to `value` bytes, and the container says so
    Grow,         ///< `value` bytes more, at most 16 MiB, and the container says so
    Patch,        ///< `bytes` replace those of the payload from byte `at` on
    ArrayCount,   ///< `value` instead of the count at the payload's beginning
    StringCount,  ///< `value` instead of the count of the dataset's first string
    Glue,         ///< the response follows in the same transfer
    // In the data or response container to the host.
    NoZeroPacket,     ///< the zero-length packet after a full one is left out
    ExtraZeroPacket,  ///< one more zero-length packet comes
    ExtraByte,        ///< a byte comes instead of the zero-length packet
    ZeroPacketFirst,
    SplitHeader,  ///< the header comes in a packet of its own
    Stale,        ///< an old container of type `value` from another transaction comes first
    Zeros,        ///< `value` bytes of zero come in front, at most 4096
    SetCode,
    SetId,
    SetType,
    SetLength,
    // In the class request to cancel.
    CancelStall,
    CancelBusy  ///< the status after the cancel request is busy
};

/// A part of a transaction: `After` begins when the host has the response, and `Cancel` is the
/// class request to cancel. The values are bits, so that a kind can allow several.
enum class Phase { Command = 1, Data = 2, Response = 4, After = 8, Cancel = 16 };

struct Fault {
    FaultKind kind{};
    std::optional<Code> operation;  ///< none: any operation
    Phase phase{};
    unsigned count = 1;  ///< how often it still strikes
    std::uint32_t value = 0;
    std::uint64_t at = 0;  ///< bytes of the payload, or per cent of it
    bool atPercent = false;
    Bytes bytes{};

    /// Parses words such as `stall op=0x1009 phase=data at=50% count=2`. Throws
    /// std::invalid_argument with a text for the tester.
    static Fault parse(const std::vector<std::string>& words);
    /// The fault in words that parse() reads.
    std::string text() const;

    /// The place in a payload of this size at which the fault strikes; at most `size`.
    std::uint64_t offsetIn(std::uint64_t size) const;
};

/// The faults that are armed at this moment.
class FaultList {
  public:
    void arm(Fault fault) { faults_.push_back(std::move(fault)); }
    void clear() { faults_.clear(); }
    const std::vector<Fault>& armed() const { return faults_; }

    /// The faults that strike in this phase of the operation, in the order in which they were
    /// armed. Each is counted, and is gone when it has struck often enough.
    std::vector<Fault> take(Phase phase, Code operation);
    /// Whether a fault of this kind strikes now; if so, it is counted. The kind is one of those for
    /// the cancel request.
    bool take(FaultKind kind);

  private:
    std::vector<Fault> faults_;
};

}  // namespace zlk::camsim
