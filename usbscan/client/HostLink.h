#pragma once
// A client's end of a connection to a host: sends and receives the messages of Protocol.h, and
// takes data out of the shared area.

#include <chrono>
#include <mutex>
#include <span>
#include <vector>

#include "platform/descriptor.h"
#include "usbscan/Protocol.h"

namespace zlk::platform {

class HostLink {
  public:
    /// Closed: the connection has ended or is of no more use, as after a message that is too long
    /// for its kind.
    enum class Result { Ok, TimedOut, Closed };

    /// `patience` limits every single wait, for sending as well as for receiving.
    HostLink(Descriptor socket, std::chrono::milliseconds patience);
    ~HostLink();
    HostLink(const HostLink&) = delete;
    HostLink& operator=(const HostLink&) = delete;

    /// Sends one whole message; may be called from any thread. Its length is filled in. A
    /// descriptor may go with it and stays the caller's. Slots of the shared area that have been
    /// read are given back with the message. False if the connection has ended, or if the host
    /// takes nothing for too long.
    bool send(usbscan::MessageHeader header, std::span<const std::byte> first,
              std::span<const std::byte> second = {}, int descriptor = -1);

    // The functions down to skipRest() are for one thread at a time.

    /// Whether part of a message, or the connection's end, is there or arrives within this time.
    bool hasInput(std::chrono::milliseconds time);
    /// Receives the header of the next message; the payload of the message before it must have been
    /// received to its end. A DataInArea is turned into a Data, so callers don't see where the
    /// bytes lie.
    Result receiveHeader(usbscan::MessageHeader& header);
    /// Bytes of the current message's payload that are still to be received.
    std::uint32_t left() const noexcept { return left_; }
    /// Fills all of the buffer, which must not be larger than left().
    Result receive(std::span<std::byte> buffer);
    /// Receives the rest of the current payload and drops it.
    Result skipRest();

    /// Ends every wait, now and later. May be called from any thread.
    void shutDown() noexcept;

  private:
    Result receiveSome(std::span<std::byte> buffer, std::size_t& done);
    Result receiveBytes(std::span<std::byte> buffer);
    /// Maps the memory whose descriptor came with an Area message.
    bool mapArea();
    /// Has receive() take the current message's bytes from the shared area.
    bool enterArea(usbscan::MessageHeader& header);
    /// Tells the host that the current message's slot is free, at once or with a later message.
    void leaveArea();

    Descriptor socket_;
    std::mutex sending_;                // guards `slotsFree_`, and keeps messages whole
    std::vector<std::byte> slotsFree_;  // SlotFree messages that go with the next message
    std::uint32_t left_ = 0;
    // Bytes from `begin_` to `end_` have been received and not been read yet.
    std::vector<std::byte> ahead_;
    std::size_t begin_ = 0, end_ = 0;

    Descriptor passed_;                  // the last descriptor that came with a message
    const std::byte* area_ = nullptr;    // the mapped area; null until the host has sent it
    const std::byte* inArea_ = nullptr;  // the current message's next byte, if it is in the area
    std::uint32_t slot_ = 0;             // the slot of `inArea_`
};

}  // namespace zlk::platform
