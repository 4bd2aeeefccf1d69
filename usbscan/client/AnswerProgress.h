#pragma once
// How far a client has read the device's answer to its command, and which of its reads return no
// bytes because of a zero-length packet. In the USB still image class a zero-length packet ends
// each container that fills its last packet. Callers look for this packet, but many devices leave
// it out, and some send too many. For one thread at a time.

#include <cstdint>

#include "platform/types.h"

namespace zlk::platform {

class AnswerProgress {
  public:
    /// Begins anew, before the answer to the next command.
    void begin() noexcept { *this = {}; }

    /// Whether the response has been read to its end.
    bool isOver() const noexcept { return place_ == Place::AfterResponse; }
    /// Whether a read of `size` bytes can only be for the zero-length packet that is due.
    bool awaitsZeroPacket(DWORD size) const noexcept;

    /// To be called when a read for the zero-length packet that is due returns no bytes although
    /// the packet hasn't come.
    void gaveMissingZeroPacket() noexcept { zeroPacket_ = ZeroPacket::GivenInAdvance; }
    /// A zero-length packet has come. Whether a read of `size` bytes returns because of it; if not,
    /// the read goes on to what comes next.
    bool takesZeroPacket(DWORD size) noexcept;
    /// `length` bytes of data have come. Whether a read of `size` bytes returns none of them,
    /// because it was for a zero-length packet that the device has left out.
    bool comesForZeroPacket(DWORD size, DWORD length) noexcept;
    /// To be called when a Data message with these flags has been read to its end.
    void hasRead(std::uint8_t flags) noexcept;

  private:
    enum class Place { BetweenContainers, InContainer, AfterResponse };
    enum class ZeroPacket { None, Due, GivenInAdvance };
    Place place_ = Place::BetweenContainers;
    ZeroPacket zeroPacket_ = ZeroPacket::None;
};

}  // namespace zlk::platform
