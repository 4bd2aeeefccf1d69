#pragma once
// How a virtual camera describes itself on the bus.

#include "tools/zlkcamsim/Container.h"
#include "tools/zlkcamsim/Responder.h"

namespace zlk::camsim {

namespace endpoint {
inline constexpr std::uint8_t BulkIn = 0x81, BulkOut = 0x02, InterruptIn = 0x83;
}
inline constexpr std::uint16_t interruptPacketSize = 64;

Bytes deviceDescriptorOf(const Identity& identity, std::uint16_t bulkPacketSize);
/// The configuration with its interface and endpoints.
Bytes configurationDescriptorOf(std::uint16_t bulkPacketSize);
/// 0: the languages; empty for one that there isn't.
Bytes stringDescriptorOf(const Identity& identity, std::uint8_t index);

}  // namespace zlk::camsim
