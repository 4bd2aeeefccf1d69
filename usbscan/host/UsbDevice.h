#pragma once
// A still-image device (USB class 6, subclass 1, protocol 1) as its host uses it: two bulk pipes,
// an interrupt pipe if the device has one, and control requests. LibusbDevice stands for a real
// device, and SimulatedDevice for a virtual one. RecordingDevice wraps another device to record it.

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
    Cancelled,  ///< taken back by the host itself
    TimedOut,   ///< only of control requests
    Failed,     ///< an error on the wire; the device is still there
    Gone        ///< unplugged
};

/// An endpoint of the device's interface; numbers as in its descriptor.
struct UsbEndpoint {
    std::uint8_t address = 0;             ///< 0: there is none
    std::uint16_t maximumPacketSize = 0;  ///< bytes
    std::uint8_t interval = 0;
};

/// What stays the same while the device is plugged in.
struct UsbFacts {
    std::array<std::byte, 18> deviceDescriptor{};  ///< as the device gives it
    std::vector<std::byte> configuration{};  ///< all descriptors of the active one; may be empty
    std::uint8_t interfaceNumber = 0;
    UsbEndpoint bulkIn, bulkOut, interruptIn;
};

/// Bytes that a bulk-in transfer brought; pieces come in order. The bytes stay valid while `keeper`
/// is held. Until it is released, the device may have one buffer less to read into.
struct UsbPiece {
    std::span<const std::byte> bytes;
    /// The transfer has ended with these bytes. If there are none, or if they fill their last
    /// packet, a zero-length packet ended it; otherwise their short last packet did.
    bool endsTransfer = false;
    std::shared_ptr<const void> keeper;
};

/// A control request. `requestType` has its direction and its recipient.
struct UsbRequest {
    std::uint8_t requestType = 0, request = 0;
    std::uint16_t value = 0, index = 0;
    std::span<const std::byte> out = {};  ///< copied before control() returns
    std::uint16_t inLength = 0;
    std::chrono::milliseconds patience{5000};  ///< after this time it ends as TimedOut
};

/// For a single thread. Callbacks are called from the event loop, never from inside the call that
/// asked for them, and not after the device is destroyed.
class UsbDevice {
  public:
    /// Receives what comes from the bulk-in pipe.
    class Listener {
      public:
        virtual void arrived(UsbPiece piece) = 0;
        /// Reading has ended as Stalled, Failed or Gone. What arrived before that has been
        /// reported.
        virtual void readingStopped(UsbStatus why) = 0;

      protected:
        ~Listener() = default;
    };
    using Done = std::function<void(UsbStatus)>;
    using DoneWithBytes = std::function<void(UsbStatus, std::span<const std::byte>)>;

    virtual ~UsbDevice() = default;

    virtual const UsbFacts& facts() const = 0;
    /// The listener is borrowed; null for none.
    virtual void setListener(Listener* listener) = 0;

    /// Asks the device for `due` bytes beyond those that it has reported, in whole packets, and for
    /// no more: afterwards transfers for this many bytes are in flight, or follow as buffers become
    /// free. What was asked for earlier counts. If a transfer brings less than was asked for,
    /// another call has to ask for the rest. Nothing is read without a call.
    ///
    /// `andNext`: one more transfer, of one packet, may be in flight after these, for what the
    /// device sends next. It counts as asked for at the next call without `andNext`.
    virtual void read(std::uint64_t due, bool andNext = false) = 0;
    /// Takes back what has been asked for, and returns whether anything was in flight. Blocks for a
    /// moment, until nothing is in flight any more. Pieces that had arrived before, or a failure,
    /// may still be reported.
    virtual bool stopReading() = 0;

    /// Sends the bytes, which stay the caller's and must be valid until `done`, as one transfer;
    /// only one write may be under way. `zeroPacket`: if the last packet is full, a zero-length
    /// packet follows.
    virtual void write(std::span<const std::byte> bytes, bool zeroPacket, Done done) = 0;
    /// Ends the write under way as Cancelled, unless it has ended already.
    virtual void cancelWrite() = 0;

    /// Only one request may be under way. The bytes given to `done` are valid during that call.
    virtual void control(const UsbRequest& request, DoneWithBytes done) = 0;

    /// Starts an interrupt transfer of at most 64 bytes, without a time limit; one at a time.
    virtual void waitForInterrupt(DoneWithBytes done) = 0;
    virtual void cancelInterrupt() = 0;

    /// clearHalt() clears the halt of a pipe, and reset() resets the port. Both block for a moment,
    /// and first take back what is in flight on the pipe, or on all pipes, since host controllers
    /// refuse to clear a pipe that is in use. False if the device has refused, or is gone.
    virtual bool clearHalt(std::uint8_t endpoint) = 0;
    virtual bool reset() = 0;
};

}  // namespace zlk::usbscan
