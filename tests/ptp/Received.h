#pragma once
#include <cstring>

#include "ptp/PtpDataStream.h"
#include "tests/ptp/ScriptedPort.h"

namespace zlk::test {

/// A stream with room behind the bytes, as the engine's has.
struct Received : PtpDataStream {
    explicit Received(const Bytes& bytes) {
        resize(static_cast<std::uint32_t>(bytes.size()) + 64);
        std::memcpy(place(0, static_cast<std::uint32_t>(bytes.size())), bytes.data(), bytes.size());
    }
};

}  // namespace zlk::test
