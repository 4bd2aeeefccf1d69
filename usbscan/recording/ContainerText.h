#pragma once
// Describes PTP containers (ISO 15740) and the still image class's requests in words, for the
// comments in a recording.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace zlk::usbscan {

/// The text for the beginning of a container, such as `GetObjectInfo (0x1008), transaction 3:
/// 0x00000005`. Fewer bytes than a container's header has are only counted, as in `2 bytes`.
std::string containerText(std::span<const std::byte> beginning);

/// The text for a class request 0x64, 0x66 or 0x67 and the data that was sent or received with it,
/// such as `Cancel transaction 3`; empty for other requests.
std::string classRequestText(std::span<const std::byte, 8> setup, std::span<const std::byte> data);

/// The name and the number of an operation, a response or an event, such as `GetObjectInfo
/// (0x1008)`; only the number, such as `0x9700`, if the code isn't known.
std::string codeText(std::uint16_t code);

}  // namespace zlk::usbscan
