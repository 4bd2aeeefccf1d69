#pragma once
// A client's end of Protocol.h: messages out and in, without anything that a message means.

#include <chrono>
#include <mutex>
#include <span>
#include <vector>

#include "platform/descriptor.h"
#include "usbscan/Protocol.h"

namespace zlk::platform {

class HostLink {
  public:
    enum class Result { Ok, TimedOut, Closed };

    /// `patience`: no single wait lasts longer.
    HostLink(Descriptor socket, std::chrono::milliseconds patience);
    ~HostLink();
    HostLink(const HostLink&) = delete;
    HostLink& operator=(const HostLink&) = delete;

    /// Whole messages, from any thread; a descriptor may go with one, and stays its caller's. What
    /// was read out of the shared memory meanwhile is given back with them.
    bool send(usbscan::MessageHeader header, std::span<const std::byte> first,
              std::span<const std::byte> second = {}, int descriptor = -1);

    // One thread at a time may call what follows, not always the same one.

    /// Whether something of a message is there, or comes within this time.
    bool hasInput(std::chrono::milliseconds time);
    /// The header of the next message; its payload must be received to its end before. Where the
    /// bytes of a Data come from is not told.
    Result receiveHeader(usbscan::MessageHeader& header);
    /// What the message under way still has.
    std::uint32_t left() const noexcept { return left_; }
    /// Fills all of the buffer; at most left() bytes.
    Result receive(std::span<std::byte> buffer);
    Result skipRest();

    /// Ends every wait, now and later; from any thread.
    void shutDown() noexcept;

  private:
    Result receiveSome(std::span<std::byte> buffer, std::size_t& done);
    Result receiveBytes(std::span<std::byte> buffer);
    /// Takes over the memory that the host shares.
    bool mapArea();
    /// Turns to the area for the bytes of the message under way.
    bool enterArea(usbscan::MessageHeader& header);
    void leaveArea();

    Descriptor socket_;
    std::mutex sending_;
    std::vector<std::byte> slotsFree_;  // messages that wait to go with another
    std::uint32_t left_ = 0;
    // What came behind a message that was received into its reader's own buffer.
    std::vector<std::byte> ahead_;
    std::size_t begin_ = 0, end_ = 0;

    Descriptor passed_;  // came with a message
    const std::byte* area_ = nullptr;
    const std::byte* inArea_ = nullptr;  // where the message under way goes on, if it is there
    std::uint32_t slot_ = 0;
};

}  // namespace zlk::platform
