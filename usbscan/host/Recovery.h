#pragma once
// Tries to bring a device back to a state in which it takes a new command, after a transaction that
// was broken off (USB still image class, requests 0x64, 0x66 and 0x67). The stages go from the
// mildest to the harshest:
//
//     Peace         reads and drops what the device still sends, until it is quiet. It comes first
//                   because some responders leave the bus when they are asked to cancel or to reset
//                   themselves, and come back only when they are plugged in anew
//     Cancel        for a device that goes on sending or hasn't answered this host's command, and
//                   for one that reports that it is busy when the host starts
//     DeviceReset   for a device that still reports that it is busy
//     PortReset     for a device that doesn't reset itself, or that doesn't cancel and either isn't
//                   quiet or has already needed a recovery since its last complete transaction
//
// Only a reset ends the session that all clients share.
//
// For the thread of the event loop only.

#include <functional>
#include <optional>
#include <span>

#include "usbscan/host/ControlQueue.h"
#include "usbscan/host/EventLoop.h"

namespace zlk::usbscan {

class Recovery {
  public:
    enum class Outcome {
        SessionAlive,  ///< the device takes commands, as far as is known
        LeftInPeace,   ///< the device is quiet; whether it is ready is unknown
        SessionLost,   ///< the device was reset, and is quiet
        DeviceGone     ///< unplugged, or even a reset didn't help
    };
    using Done = std::function<void(Outcome)>;

    Recovery(EventLoop& loop, UsbDevice& device, ControlQueue& controls);

    bool running() const noexcept { return static_cast<bool>(done_); }
    /// What a recovery has to know of the transaction that it ends.
    struct Transaction {
        std::uint32_t id = 0;
        /// The device has all that it needs for a response, and hasn't been waited for in vain.
        bool mayBeAnswered = false;
        /// No transaction has succeeded since the last recovery.
        bool again = false;
    };
    /// Ends the transaction, and drops what the device sends meanwhile. `done` is called once, from
    /// the loop. Until then the device's listener must call arrived() and stalled().
    void start(const Transaction& transaction, Done done);
    /// For a host that starts: ends what an earlier host may have left open, if the device reports
    /// that it is busy or still sends something.
    void settle(Done done);
    /// `answers`: the response to the transaction ends in this piece.
    void arrived(std::span<const std::byte> piece, bool answers);
    /// Reading the bulk-in pipe has ended with a halt or an error.
    void stalled();
    void gone() { finish(Outcome::DeviceGone); }

  private:
    enum class Stage { Settle, Peace, Cancel, DeviceReset, PortReset };
    /// Begins a stage. If it isn't over within the limit, the next one follows.
    void enter(Stage stage, std::chrono::milliseconds limit);
    void tryPeace();
    void tryCancel();
    void tryDeviceReset();
    void tryPortReset();
    /// Begins the next stage, after one that didn't help. Ends the recovery if no stage is left, or
    /// if the device is to be left in peace.
    void nextStage();
    void cancelFailed();
    /// Asks the device whether it is ready (request 0x67).
    void askStatus();
    void statusCame(UsbStatus status, std::span<const std::byte> bytes);
    /// Reads until the device has been quiet for a while. Then the recovery ends, or the next stage
    /// begins if an answer is still missing.
    void drain();
    void clearPipes();
    void finish(Outcome outcome);
    /// A callback that does nothing once the stage it was made in is over.
    UsbDevice::DoneWithBytes inThisStage(UsbDevice::DoneWithBytes then);

    UsbDevice& device_;
    ControlQueue& controls_;
    Done done_;  // set while a recovery is running
    Stage stage_ = Stage::Cancel;
    unsigned epoch_ = 0;                      // counts stages, so that callbacks know theirs
    unsigned stalls_ = 0;                     // halts that were cleared in this recovery
    bool draining_ = false;                   // reading until the device is quiet
    std::optional<Transaction> transaction_;  // none: an earlier host's, which is unknown
    bool quiet_ = false;                      // the device has stopped sending
    bool answered_ = false;                   // a response has come; settle() begins with true
    bool busy_ = false;                       // the device's last status said that it is busy
    // `pause_` runs while the device has to stay quiet, or until its status is asked for again;
    // `limit_` is that of the stage.
    Timer pause_, limit_;
};

}  // namespace zlk::usbscan
