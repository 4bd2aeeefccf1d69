#pragma once
// The device's side of a USB connection, as a device controller sees it. The virtual camera
// implements it; a SimulatedDevice or an emulated usbfs node connects it to a host.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace zlk::camsim {

enum class PipeAnswer {
    Accepted,  ///< out: taken. in: here are bytes, or a zero-length packet
    NotNow,    ///< not ready (NAK); `wake` is called when that changes
    Stalled,   ///< halted until clearHalt()
    Broken     ///< an error on the wire, such as a CRC error or a timeout
};

struct PipeBytes {
    PipeAnswer answer = PipeAnswer::NotNow;
    /// At most as many as were asked for. They stay valid while `keeper` is held.
    std::span<const std::byte> bytes;
    bool endsTransfer = false;  ///< a short or zero-length packet ends the transfer here
    std::shared_ptr<const void> keeper;
};

/// The eight bytes of a control request.
struct SetupPacket {
    std::uint8_t requestType = 0, request = 0;
    std::uint16_t value = 0, index = 0, length = 0;
};

struct ControlAnswer {
    bool stalled = true;
    std::vector<std::byte> bytes;  ///< if the request's data goes to the host
};

/// Not thread-safe. Calls number the endpoints 0x81 (bulk in), 0x02 (bulk out) and 0x83 (interrupt
/// in); the descriptors of a recorded device may give other numbers.
class UsbFunction {
  public:
    virtual ~UsbFunction() = default;

    virtual std::uint16_t bulkPacketSize() const = 0;                    ///< 8 to 64, 512 or 1024
    virtual std::vector<std::byte> deviceDescriptor() const = 0;         ///< 18 bytes
    virtual std::vector<std::byte> configurationDescriptor() const = 0;  ///< whole, all endpoints
    virtual std::vector<std::byte> stringDescriptor(
        std::uint8_t index) const = 0;  ///< may be empty

    /// `wake` is called when a pipe that answered NotNow may be ready. It may be called from inside
    /// of any call here, so it should only schedule work.
    virtual void setWake(std::function<void()> wake) = 0;

    /// Takes the next bytes of a transfer from the host, all or none. They may be many packets.
    /// `ends` says that the transfer ends with them: the last packet is short, or a zero-length one
    /// follows.
    virtual PipeAnswer out(std::span<const std::byte> bytes, bool ends) = 0;
    /// Returns up to `room` bytes of one transfer to the host; `room` is a multiple of the packet
    /// size. The bytes fill their last packet, except at the end of the transfer. They count as
    /// sent.
    virtual PipeBytes in(std::size_t room) = 0;
    /// Returns one interrupt transfer of at most `room` bytes.
    virtual PipeBytes interrupt(std::size_t room) = 0;

    /// Answers a class request (0x64, 0x66, 0x67), or a standard one such as GET_DESCRIPTOR.
    virtual ControlAnswer control(const SetupPacket& setup, std::span<const std::byte> out) = 0;
    /// Ends the halt of an endpoint.
    virtual void clearHalt(std::uint8_t endpoint) = 0;
    /// The bus was reset, or the device plugged in: sessions end and pipes are emptied.
    virtual void busReset() = 0;
};

}  // namespace zlk::camsim
