#pragma once
// Brings a device back to where it takes a new command, after a transaction that nobody ends (USB
// still image class, requests 0x64, 0x66 and 0x67).
//
//     Cancel        ends the transaction and leaves the session of all others alive
//     Peace         for a device that doesn't cancel: what it still sends is read until it is
//                   quiet. Its session lives on
//     DeviceReset   for one that cancels and stays busy. Others are not asked for it: there are
//                   phones whose responder dies of the request until they are plugged in anew
//     PortReset     for one that goes on sending, or for which Peace has changed nothing before

#include <functional>

#include "platform/usbscan/host/ControlQueue.h"
#include "platform/usbscan/host/EventLoop.h"

namespace zlk::usbscan {

class Recovery {
  public:
    enum class Outcome {
        SessionAlive,  ///< as the device itself says
        LeftInPeace,   ///< the device is quiet, and nobody knows more
        SessionLost,
        DeviceGone
    };
    using Done = std::function<void(Outcome)>;

    Recovery(EventLoop& loop, UsbDevice& device, ControlQueue& controls);

    bool running() const noexcept { return static_cast<bool>(done_); }
    /// Ends the transaction of that id. What the device sends meanwhile is reported to arrived()
    /// and stalled() by whoever listens to the device, and dropped. `again`: the device has done
    /// nothing right since the last recovery.
    void start(std::uint32_t transactionId, bool again, Done done);
    /// At the beginning: ends what an earlier host may have left open, if the device says that
    /// there is something, or still sends it.
    void settle(Done done);
    void arrived(std::span<const std::byte> bytes);
    void stalled();
    /// The device has been unplugged.
    void gone() { finish(Outcome::DeviceGone); }

  private:
    enum class Stage { Settle, Cancel, Peace, DeviceReset, PortReset };
    void enter(Stage stage, std::chrono::milliseconds limit);
    void tryCancel();
    void tryPeace();
    void tryDeviceReset();
    void tryPortReset();
    void nextStage();
    Stage stageAfterCancel() const;
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
    bool again_ = false;
    bool tellsStatus_ = false;  // it has answered request 0x67
    std::uint32_t transactionId_ = 0;
    Timer pause_, limit_;
};

}  // namespace zlk::usbscan
