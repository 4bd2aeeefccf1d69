#pragma once
// Writes blocks of a pcapng file with one interface. The file is the blocks one after another. The
// format: https://www.ietf.org/archive/id/draft-ietf-opsawg-pcapng-02.html

#include <cstdint>
#include <string>
#include <string_view>

namespace zlk::usbscan {

/// The beginning of a file: a section, and an interface whose packets have this link type.
std::string pcapngHead(std::uint16_t linkType);

/// A packet at this time, in microseconds since 1970. `length` is the packet's full length, of
/// which `packet` may hold less. The comment is shown beside the packet, and may be empty.
std::string pcapngPacket(std::int64_t time, std::string_view packet, std::uint32_t length,
                         std::string_view comment);

}  // namespace zlk::usbscan
