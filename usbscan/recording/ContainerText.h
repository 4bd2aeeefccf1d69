#pragma once
// Describes PTP containers (ISO 15740) and the still image class's requests in words, for the
// comments in a recording.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace zlk::usbscan {

/// For the beginning of a container, such as `GetObjectInfo (0x1008), transaction 3: 0x00000005`;
/// for bytes that can't be a container, only their number, such as `2 bytes`.
std::string containerText(std::span<const std::byte> beginning);

/// For a class request and the data that was sent or received with it, such as `Cancel transaction
/// 3`; empty for other requests.
std::string classRequestText(std::span<const std::byte, 8> setup, std::span<const std::byte> data);

/// For the code of an operation, a response or an event: `GetObjectInfo (0x1008)`, `OK (0x2001)`;
/// the number alone, `0x9700`, for an unknown one.
std::string codeText(std::uint16_t code);

}  // namespace zlk::usbscan
