#pragma once
// PTP containers as they go over the pipes of USB: a header of twelve bytes, little-endian, and the
// payload that it announces.

#include <algorithm>
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
    static constexpr std::uint32_t unknownLength = 0xFFFFFFFF;  ///< for containers of 4 GiB or more

    /// In bytes, with the header.
    std::uint32_t length = 0;
    std::uint16_t type = 0, code = 0;
    /// Number of the transaction.
    std::uint32_t id = 0;

    /// `bytes` must have at least twelve bytes.
    static ContainerHeader decode(ByteView bytes);
    Bytes encode() const;
};

/// A command, event or response, which all have a code, a transaction and at most five parameters.
struct Message {
    static constexpr std::size_t maxParameters = 5;

    std::uint16_t code = 0;
    std::uint32_t id = 0;
    std::vector<std::uint32_t> parameters;

    /// A parameter; 0 if it wasn't sent, since initiators may leave out zeros at the end.
    std::uint32_t parameter(std::size_t index) const {
        return index < parameters.size() ? parameters[index] : 0;
    }
    Bytes encode(ContainerType type) const;
};

/// Borrowed bytes that stay valid as long as `keeper` is held.
struct Payload {
    ByteView bytes;
    std::shared_ptr<const void> keeper;

    /// Takes the bytes over.
    static Payload of(Bytes bytes);
    /// A part of the bytes, with the same keeper; only what there is of it, since a file may have
    /// become shorter.
    Payload part(std::size_t offset, std::size_t count) const {
        const std::size_t start = std::min(offset, bytes.size());
        return {bytes.subspan(start, std::min(count, bytes.size() - start)), keeper};
    }
};

/// Reads a little-endian number of `size` bytes, which `bytes` must have.
std::uint64_t loadNumber(ByteView bytes, std::size_t size);
/// Appends a little-endian number of `size` bytes.
void appendNumber(Bytes& to, std::uint64_t value, std::size_t size);

}  // namespace zlk::camsim
