#pragma once
// What goes wrong on purpose, armed by a tester: kind, operation, phase, how many times.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/zlkcamsim/Codes.h"
#include "tools/zlkcamsim/Container.h"

namespace zlk::camsim {

enum class FaultKind {
    // in any phase
    Unplug,   ///< the cable is pulled
    Stall,    ///< the pipe halts
    Silence,  ///< nothing comes, or is taken, any more
    Slow,     ///< `value` ms pass first
    // of the command
    Answer,  ///< the operation isn't run; `value` is the response's code
    // of a data phase to the host
    Short,        ///< the transfer ends behind `at` bytes of the payload
    Truncate,     ///< the payload is cut to `value` bytes, and the container says so
    Grow,         ///< `value` bytes more, and the container says so
    Patch,        ///< `bytes` replace what stands `at` this place of the payload
    ArrayCount,   ///< `value` instead of the count at the payload's beginning
    StringCount,  ///< `value` instead of the count of the dataset's first string
    Glue,         ///< the response follows in the same transfer
    // of either container to the host
    NoZeroPacket,     ///< which was due behind a full packet
    ExtraZeroPacket,  ///< one more
    ExtraByte,        ///< in place of the packet of no bytes that was due
    ZeroPacketFirst,
    SplitHeader,  ///< the header in a packet of its own
    Stale,        ///< a container of type `value`, left over from another transaction, comes first
    Zeros,        ///< `value` bytes of zero stand in front
    SetCode,
    SetId,
    SetType,
    SetLength,
    // of the class request
    CancelStall,
    CancelBusy  ///< the status afterwards is busy
};

enum class Phase { Command = 1, Data = 2, Response = 4, After = 8, Cancel = 16 };

struct Fault {
    FaultKind kind{};
    std::optional<Code> operation;  ///< none: any
    Phase phase{};
    unsigned count = 1;  ///< how many times more
    std::uint32_t value = 0;
    std::uint64_t at = 0;  ///< bytes of the payload, or per cent of them
    bool atPercent = false;
    Bytes bytes{};

    /// `stall op=0x1009 phase=data at=50% count=2`; `words` behind the first are `key=value`.
    /// Throws std::invalid_argument with a text for the tester.
    static Fault parse(const std::vector<std::string>& words);
    std::string text() const;

    /// Where it strikes, in a payload of this size.
    std::uint64_t offsetIn(std::uint64_t size) const;
};

class FaultList {
  public:
    void arm(Fault fault) { faults_.push_back(std::move(fault)); }
    void clear() { faults_.clear(); }
    const std::vector<Fault>& armed() const { return faults_; }

    /// Those that strike now, in the order of their arming; each counts as having struck.
    std::vector<Fault> take(Phase phase, Code operation);
    /// Of the class request: whether one of this kind strikes now.
    bool take(FaultKind kind);

  private:
    std::vector<Fault> faults_;
};

/// `0x1009` or `4105`; hexadecimal digits in pairs. Throw std::invalid_argument.
std::uint64_t parseNumber(const std::string& text, std::uint64_t most);
Bytes parseHex(const std::string& text);
std::string hexOf(ByteView bytes);

}  // namespace zlk::camsim
