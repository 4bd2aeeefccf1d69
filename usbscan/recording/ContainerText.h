#pragma once
// What PTP containers (ISO 15740) and the still image class's requests say, in words.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace zlk::usbscan {

/// `GetObjectInfo (0x1008), transaction 3: 0x00000005`, of a container's beginning; `2 bytes` and
/// the like of what is none.
std::string containerText(std::span<const std::byte> beginning);

/// `Cancel transaction 3`, of a class request and what was sent or came with it; empty for others.
std::string classRequestText(std::span<const std::byte, 8> setup, std::span<const std::byte> data);

/// `GetObjectInfo (0x1008)`, `OK (0x2001)`, `0x9700`.
std::string codeText(std::uint16_t code);

}  // namespace zlk::usbscan
