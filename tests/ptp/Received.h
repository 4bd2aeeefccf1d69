#pragma once
#include <cstring>

#include "ptp/PtpDataStream.h"
#include "tests/ptp/ScriptedPort.h"

namespace zlk::test {

/// A stream that holds these bytes and no more.
struct Received : PtpDataStream {
    explicit Received(const Bytes& bytes) {
        const auto size = static_cast<std::uint32_t>(bytes.size());
        resize(size);
        std::memcpy(place(0, size), bytes.data(), size);
    }
};

/// What was written into a stream.
inline Bytes written(const PtpDataStream& stream) {
    return {stream.data(), stream.data() + stream.cursor()};
}

}  // namespace zlk::test
