#pragma once
// The device's end of the bus, as a device controller would see it. A virtual camera is one; what
// carries it to a host (a device host's loop, an emulated usbfs node) asks it for what it has.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace zlk::camsim {

enum class PipeAnswer {
    Accepted,  ///< out: taken. in: here are bytes, or a packet of none
    NotNow,    ///< the device holds back (NAK); `wake` is called when that changes
    Stalled,   ///< until clearHalt()
    Broken     ///< an error on the wire (a CRC or timeout seen by the host controller)
};

struct PipeBytes {
    PipeAnswer answer = PipeAnswer::NotNow;
    /// At most what was asked for. They stay where they are while `keeper` is held.
    std::span<const std::byte> bytes;
    bool endsTransfer = false;  ///< a short packet, or one of no bytes, comes behind them
    std::shared_ptr<const void> keeper;
};

struct SetupPacket {
    std::uint8_t requestType = 0, request = 0;
    std::uint16_t value = 0, index = 0, length = 0;
};

struct ControlAnswer {
    bool stalled = true;
    std::vector<std::byte> bytes;  ///< of a request towards the host
};

/// Not for several threads. Endpoints: bulk in 0x81, bulk out 0x02, interrupt in 0x83; interface 0
/// of class 6, subclass 1, protocol 1.
class UsbFunction {
  public:
    virtual ~UsbFunction() = default;

    virtual std::uint16_t bulkPacketSize() const = 0;                    ///< 64, 512 or 1024
    virtual std::vector<std::byte> deviceDescriptor() const = 0;         ///< 18 bytes
    virtual std::vector<std::byte> configurationDescriptor() const = 0;  ///< whole, all endpoints
    virtual std::vector<std::byte> stringDescriptor(
        std::uint8_t index) const = 0;  ///< may be empty

    /// Called when a pipe that answered NotNow may have something else to say. May be called from
    /// inside of any call here.
    virtual void setWake(std::function<void()> wake) = 0;

    /// Bytes of a transfer from the host, in order, as many packets at once as there are. `ends`:
    /// a short packet, or one of no bytes, comes behind them. Takes all of them or none.
    virtual PipeAnswer out(std::span<const std::byte> bytes, bool ends) = 0;
    /// Up to `room` bytes, a multiple of the packet size, of one transfer to the host: fewer only
    /// if it ends there. What was given counts as sent.
    virtual PipeBytes in(std::size_t room) = 0;
    virtual PipeBytes interrupt(std::size_t room) = 0;

    /// Class requests (0x64, 0x66, 0x67) and GET_DESCRIPTOR.
    virtual ControlAnswer control(const SetupPacket& setup, std::span<const std::byte> out) = 0;
    virtual void clearHalt(std::uint8_t endpoint) = 0;
    /// A reset of the bus, or plugging in: sessions end, pipes are empty.
    virtual void busReset() = 0;
};

}  // namespace zlk::camsim
