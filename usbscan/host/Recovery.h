#pragma once
// Brings a device back to where it takes a new command, after a transaction that nobody ends (USB
// still image class, requests 0x64, 0x66 and 0x67).
//
//     Peace         what the device still sends is read, until it has answered. There are
//                   responders that leave the bus when they are asked to cancel or to reset
//                   themselves, and are back only when they are plugged in anew
//     Cancel        for one that doesn't answer, or goes on sending
//     DeviceReset   for one that has cancelled and says that it is busy all the same
//     PortReset     for one that doesn't cancel and goes on sending, or was quiet without an
//                   answer once before
//
// Up to Cancel the session of all others lives on.

#include <functional>
#include <optional>
#include <span>

#include "usbscan/host/ControlQueue.h"
#include "usbscan/host/EventLoop.h"

namespace zlk::usbscan {

class Recovery {
  public:
    enum class Outcome {
        SessionAlive,  ///< the device has answered, or says itself that it is ready
        LeftInPeace,   ///< the device is quiet, and nobody knows more
        SessionLost,
        DeviceGone
    };
    using Done = std::function<void(Outcome)>;

    Recovery(EventLoop& loop, UsbDevice& device, ControlQueue& controls);

    bool running() const noexcept { return static_cast<bool>(done_); }
    struct Transaction {
        std::uint32_t id = 0;
        /// The device has all that it needs for an answer, and was not yet waited for in vain.
        bool mayBeAnswered = false;
        /// The device has done nothing right since the last recovery.
        bool again = false;
    };
    /// Ends that transaction. What the device sends meanwhile is dropped; its listener tells
    /// arrived() and stalled() of it.
    void start(const Transaction& transaction, Done done);
    /// At the beginning: ends what an earlier host may have left open, if the device says that
    /// there is something, or still sends it.
    void settle(Done done);
    /// `answers`: the transaction's response has ended with this piece.
    void arrived(std::span<const std::byte> piece, bool answers);
    void stalled();
    /// The device has been unplugged.
    void gone() { finish(Outcome::DeviceGone); }

  private:
    enum class Stage { Settle, Peace, Cancel, DeviceReset, PortReset };
    void enter(Stage stage, std::chrono::milliseconds limit);
    void tryPeace();
    void tryCancel();
    void tryDeviceReset();
    void tryPortReset();
    void nextStage();
    void cancelFailed();
    void askStatus();
    void statusCame(UsbStatus status, std::span<const std::byte> bytes);
    /// Waits until the device has nothing more to say.
    void drain();
    void clearPipes();
    void finish(Outcome outcome);
    /// A callback that does nothing once the stage it was made in is over.
    UsbDevice::DoneWithBytes inThisStage(UsbDevice::DoneWithBytes then);

    UsbDevice& device_;
    ControlQueue& controls_;
    Done done_;
    Stage stage_ = Stage::Cancel;
    unsigned epoch_ = 0;  // counts stages
    unsigned stalls_ = 0;
    bool draining_ = false;
    std::optional<Transaction> transaction_;  // none: an earlier host's, of which nothing is known
    bool quiet_ = false;                      // nothing more has come
    bool answered_ = false;                   // by a response, or there was nothing to be answered
    bool busy_ = false;                       // as the device says after it was cancelled
    Timer pause_, limit_;
};

}  // namespace zlk::usbscan
