#pragma once
// The USB descriptors of a virtual camera that doesn't play a recording.

#include "tools/zlkcamsim/Container.h"
#include "tools/zlkcamsim/Responder.h"

namespace zlk::camsim {

namespace endpoint {
inline constexpr std::uint8_t BulkIn = 0x81, BulkOut = 0x02, InterruptIn = 0x83;
}
inline constexpr std::uint16_t interruptPacketSize = 64;

/// `bulkPacketSize` decides the speed that the descriptors claim.
Bytes deviceDescriptorOf(const Identity& identity, std::uint16_t bulkPacketSize);
/// The configuration descriptor, followed by those of the interface and its endpoints.
Bytes configurationDescriptorOf(std::uint16_t bulkPacketSize);
/// String 0 lists the languages, 1 to 3 are the texts of the identity; empty for other indices.
Bytes stringDescriptorOf(const Identity& identity, std::uint8_t index);

}  // namespace zlk::camsim
