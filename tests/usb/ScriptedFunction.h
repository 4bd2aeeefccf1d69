#pragma once
// A device that knows nothing of pictures: it keeps what it is sent, gives out what it is told to,
// and fails where it is told to.

#include <array>
#include <deque>
#include <map>
#include <string>
#include <vector>

#include "tools/zlkcamsim/UsbFunction.h"

namespace zlk::test {

using Bytes = std::vector<std::byte>;

class ScriptedFunction : public camsim::UsbFunction {
  public:
    static constexpr std::uint8_t bulkIn = 0x81, bulkOut = 0x02, interruptIn = 0x83;

    explicit ScriptedFunction(std::uint16_t packetSize) : packetSize_(packetSize) {}

    struct Transfer {
        Bytes bytes;
        bool ended = true;  ///< by a short packet, or one of no bytes
        bool operator==(const Transfer&) const = default;
    };
    /// Queues a transfer to the host.
    void send(Transfer transfer);
    void sendEvent(Bytes event);
    /// Pipes answer this from now on; Accepted: as they can. A stalled one until it is cleared.
    /// That of bulk in comes behind what was queued.
    void answer(std::uint8_t endpoint, camsim::PipeAnswer answer);
    void setInterfaceClass(std::uint8_t value) { interfaceClass_ = value; }

    std::deque<Transfer> received;  ///< from the host
    std::vector<camsim::SetupPacket> requests;
    Bytes requestData;      ///< that came with the last one
    Bytes requestAnswer;    ///< for those that want one; 0xFF is a request that isn't known
    std::size_t given = 0;  ///< bytes towards the host
    int resets = 0;         ///< of the bus, plugging in included

    std::uint16_t bulkPacketSize() const override { return packetSize_; }
    Bytes deviceDescriptor() const override;
    Bytes configurationDescriptor() const override;
    Bytes stringDescriptor(std::uint8_t index) const override;
    void setWake(std::function<void()> wake) override { wake_ = std::move(wake); }
    camsim::PipeAnswer out(std::span<const std::byte> bytes, bool ends) override;
    camsim::PipeBytes in(std::size_t room) override;
    camsim::PipeBytes interrupt(std::size_t room) override;
    camsim::ControlAnswer control(const camsim::SetupPacket& setup,
                                  std::span<const std::byte> out) override;
    void clearHalt(std::uint8_t endpoint) override;
    void busReset() override;

  private:
    const std::uint16_t packetSize_;
    std::uint8_t interfaceClass_ = 6;
    std::deque<Transfer> toHost_;
    std::deque<Bytes> events_;
    std::size_t sent_ = 0;  ///< of the first of toHost_
    std::map<std::uint8_t, camsim::PipeAnswer> answers_;
    std::function<void()> wake_ = [] {};
};

/// `size` bytes that differ from those of another seed, and of another place.
Bytes pattern(std::size_t size, unsigned seed);

}  // namespace zlk::test
