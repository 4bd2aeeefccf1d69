#include "usbscan/client/AnswerProgress.h"

#include <utility>

#include "usbscan/Protocol.h"

namespace zlk::platform {
namespace {

/// Between two containers, a read for less than a container's header can only be for the
/// zero-length packet that ends a transfer.
constexpr bool seeksZeroPacket(DWORD size) {
    return size < usbscan::containerHeaderSize;
}

}  // namespace

bool AnswerProgress::awaitsZeroPacket(DWORD size) const noexcept {
    return zeroPacket_ == ZeroPacket::Due && seeksZeroPacket(size);
}

bool AnswerProgress::takesZeroPacket(DWORD size) noexcept {
    // A read may have returned for this packet already, when the packet seemed to be missing.
    // Outside of a container, a read for a header or more passes over the packet: some devices end
    // a payload with a zero-length packet where none is due.
    const bool late = std::exchange(zeroPacket_, ZeroPacket::None) == ZeroPacket::GivenInAdvance;
    return !late && (place_ == Place::InContainer || seeksZeroPacket(size));
}

bool AnswerProgress::comesForZeroPacket(DWORD size, DWORD length) noexcept {
    // The device may have left out the packet and sent the response, which is for the caller's next
    // read. Fewer bytes than a container's header has can't be a response.
    const bool awaited = awaitsZeroPacket(size);
    zeroPacket_ = ZeroPacket::None;
    return awaited && length >= usbscan::containerHeaderSize;
}

void AnswerProgress::hasRead(std::uint8_t flags) noexcept {
    zeroPacket_ = flags & usbscan::zeroPacketDue ? ZeroPacket::Due : ZeroPacket::None;
    place_ = flags & usbscan::answerEnds      ? Place::AfterResponse
             : flags & usbscan::containerEnds ? Place::BetweenContainers
                                              : Place::InContainer;
}

}  // namespace zlk::platform
