#pragma once
// Blocks of a pcapng file (https://www.ietf.org/archive/id/draft-ietf-opsawg-pcapng-02.html) with
// one interface. Concatenated they are the file.

#include <cstdint>
#include <string>
#include <string_view>

namespace zlk::usbscan {

/// What such a file begins with: a section and its interface, whose packets have this link type.
std::string pcapngHead(std::uint16_t linkType);

/// A packet at this time (microseconds since 1970). `length`: of the whole of it, also where less
/// is there. The comment is shown beside it; may be empty.
std::string pcapngPacket(std::int64_t time, std::string_view packet, std::uint32_t length,
                         std::string_view comment);

}  // namespace zlk::usbscan
