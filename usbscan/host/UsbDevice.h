#pragma once
// A still-image device (USB class 6, subclass 1, protocol 1) as its host drives it: two bulk pipes,
// an interrupt pipe, control requests. Behind it stands libusb, or a virtual camera.

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace zlk::usbscan {

enum class UsbStatus {
    Done,
    Stalled,    ///< the pipe is halted until it is cleared
    Cancelled,  ///< by the host itself
    TimedOut,   ///< of control requests only
    Failed,     ///< an error on the wire; the device is still there
    Gone        ///< unplugged
};

struct UsbEndpoint {
    std::uint8_t address = 0;  ///< 0: there is none
    std::uint16_t maximumPacketSize = 0;
    std::uint8_t interval = 0;
};

struct UsbFacts {
    std::array<std::byte, 18> deviceDescriptor{};  ///< as the device gives it
    std::vector<std::byte> configuration{};  ///< the active one with all that it has; may be empty
    std::uint8_t interfaceNumber = 0;
    UsbEndpoint bulkIn, bulkOut, interruptIn;
};

/// Bytes of a bulk-in transfer, in order. They stay where they are while `keeper` is held, and
/// while it is, the device may have one buffer less to read into.
struct UsbPiece {
    std::span<const std::byte> bytes;
    /// A short packet, or one of no bytes, came behind them. So a piece of no bytes, or one that
    /// ends although its last packet is full, shows a zero-length packet.
    bool endsTransfer = false;
    std::shared_ptr<const void> keeper;
};

/// A control request to the interface or the device; the direction is that of `requestType`.
struct UsbRequest {
    std::uint8_t requestType = 0, request = 0;
    std::uint16_t value = 0, index = 0;
    std::span<const std::byte> out = {};  ///< copied before control() returns
    std::uint16_t inLength = 0;
    std::chrono::milliseconds patience{5000};  ///< then it ends as TimedOut
};

/// Not for several threads. Whatever is reported comes from the event loop, never from inside the
/// call that asked for it; after destruction nothing is reported.
class UsbDevice {
  public:
    class Listener {
      public:
        virtual void arrived(UsbPiece piece) = 0;
        /// Reading has stopped: Stalled, Failed or Gone. What arrived before has been reported.
        virtual void readingStopped(UsbStatus why) = 0;

      protected:
        ~Listener() = default;
    };
    using Done = std::function<void(UsbStatus)>;
    using DoneWithBytes = std::function<void(UsbStatus, std::span<const std::byte>)>;

    virtual ~UsbDevice() = default;

    virtual const UsbFacts& facts() const = 0;
    virtual void setListener(Listener* listener) = 0;

    /// Asks the device for `due` bytes beyond those that it has reported, in whole packets, and for
    /// no more: transfers for as many are in flight afterwards, or follow as buffers become free.
    /// What is asked for already counts; a shorter transfer than asked for is not made up for
    /// without another call. Nothing is asked for unless this is called.
    ///
    /// `andNext`: one transfer of a packet more may be in flight at their end, into which comes
    /// what the device sends next. It counts as asked for once this is called without it.
    virtual void read(std::uint64_t due, bool andNext = false) = 0;
    /// Takes back what is asked for; whether anything was in flight. None of it is any more when
    /// this returns, which may take a moment. Pieces that had arrived, or a failure that had, may
    /// still be reported.
    virtual bool stopReading() = 0;

    /// One transfer, one at a time; the bytes stay the caller's until `done`. `zeroPacket`: a
    /// packet of no bytes ends it, if its last packet is full.
    virtual void write(std::span<const std::byte> bytes, bool zeroPacket, Done done) = 0;
    /// The write then ends as Cancelled, if it hasn't ended yet.
    virtual void cancelWrite() = 0;

    /// One at a time; the bytes are good during the call.
    virtual void control(const UsbRequest& request, DoneWithBytes done) = 0;

    /// One interrupt transfer of at most 64 bytes, without a limit of time; one at a time.
    virtual void waitForInterrupt(DoneWithBytes done) = 0;
    virtual void cancelInterrupt() = 0;

    /// Both block for a moment, and take back first what is in flight, on that pipe or on all of
    /// them: host controllers refuse to clear a pipe that is in use. False if the device refused,
    /// or is gone.
    virtual bool clearHalt(std::uint8_t endpoint) = 0;
    virtual bool reset() = 0;
};

}  // namespace zlk::usbscan
