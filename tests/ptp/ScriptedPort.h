#pragma once
// A transport and an arbiter that play a script, for an engine without a wire.

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "ptp/PTPCommErrors.h"

namespace zlk::test {

using Bytes = std::vector<std::uint8_t>;

/// From hexadecimal digits; blanks between them don't count.
Bytes hex(std::string_view digits);
/// A container of type 1 to 4.
Bytes container(std::uint16_t type, std::uint16_t code, std::uint32_t id,
                const Bytes& payload = {});
Bytes u32s(std::initializer_list<std::uint32_t> values);

/// What the next engine finds, and what it did. One at a time.
struct ScriptedPort {
    ScriptedPort();
    ~ScriptedPort();
    ScriptedPort(const ScriptedPort&) = delete;
    ScriptedPort& operator=(const ScriptedPort&) = delete;

    /// The camera's transfers to come, each split by the engine's reads as USB splits one: a read
    /// takes from one transfer only. Empty: a packet of no bytes.
    std::deque<Bytes> toHost;
    std::deque<Bytes> events;
    std::vector<Bytes> fromHost;

    std::uint32_t nextId = 7;  ///< the table's counter
    std::uint32_t vid = 0x1234, pid = 0x5678;
    std::uint32_t maxPacketSize = 64;
    std::u16string portOfIds;        ///< what findPortbyVidPid() answers
    PTPCommErrors openError{};       ///< raised by openConnection()
    PTPCommErrors mutexError{};      ///< raised by getMutex()
    std::vector<std::string> calls;  ///< of the arbiter
    int held = 0;

    /// How many reads were asked for.
    int reads = 0;
};

}  // namespace zlk::test
