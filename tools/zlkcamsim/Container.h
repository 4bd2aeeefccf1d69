#pragma once
// Containers as they stand on the bulk pipes: a header of twelve bytes, little-endian, and what
// it announces.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

namespace zlk::camsim {

using Bytes = std::vector<std::byte>;
using ByteView = std::span<const std::byte>;

enum ContainerType : std::uint16_t { Command = 1, Data = 2, Response = 3, Event = 4 };

struct ContainerHeader {
    static constexpr std::size_t size = 12;
    static constexpr std::uint32_t unknownLength = 0xFFFFFFFF;  ///< 4 GiB or more

    std::uint32_t length = 0;
    std::uint16_t type = 0, code = 0;
    std::uint32_t id = 0;

    /// `bytes` are twelve at least.
    static ContainerHeader decode(ByteView bytes);
    Bytes encode() const;
};

/// A command, or what an event or a response says: at most five parameters.
struct Message {
    static constexpr std::size_t maxParameters = 5;

    std::uint16_t code = 0;
    std::uint32_t id = 0;
    std::vector<std::uint32_t> parameters;

    /// 0 for one that didn't come: initiators leave out trailing zeros.
    std::uint32_t parameter(std::size_t index) const {
        return index < parameters.size() ? parameters[index] : 0;
    }
    Bytes encode(ContainerType type) const;
};

/// Bytes that stay where they are while `keeper` is held.
struct Payload {
    ByteView bytes;
    std::shared_ptr<const void> keeper;

    static Payload of(Bytes bytes);
    Payload part(std::size_t offset, std::size_t count) const {
        return {bytes.subspan(offset, count), keeper};
    }
};

/// A number of `size` bytes, little-endian; `bytes` has them.
std::uint64_t loadNumber(ByteView bytes, std::size_t size);
void appendNumber(Bytes& to, std::uint64_t value, std::size_t size);

}  // namespace zlk::camsim
