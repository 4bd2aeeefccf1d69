#pragma once
// Brings a device back to where it takes a new command, after a transaction that nobody ends: by
// the still-image class's Cancel, which leaves the session of all others alive; failing that by
// its Device Reset; failing that by a reset of the port. (USB still image class, requests 0x64,
// 0x66 and 0x67.)

#include <functional>

#include "platform/usbscan/host/ControlQueue.h"
#include "platform/usbscan/host/EventLoop.h"

namespace zlk::usbscan {

class Recovery {
  public:
    enum class Outcome { SessionAlive, SessionLost, DeviceGone };
    using Done = std::function<void(Outcome)>;

    Recovery(EventLoop& loop, UsbDevice& device, ControlQueue& controls);

    bool running() const noexcept { return static_cast<bool>(done_); }
    /// Ends the transaction of that id. What the device sends meanwhile is reported to arrived()
    /// and stalled() by whoever listens to the device, and dropped.
    void start(std::uint32_t transactionId, Done done);
    /// At the beginning: ends what an earlier host may have left open, if there is anything.
    void settle(Done done);
    void arrived(std::span<const std::byte> bytes);
    void stalled();
    /// The device has been unplugged.
    void gone() { finish(Outcome::DeviceGone); }

  private:
    enum class Stage { Settle, Cancel, DeviceReset, PortReset };
    void tryCancel();
    void tryDeviceReset();
    void tryPortReset();
    void nextStage();
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
    std::uint32_t transactionId_ = 0;
    Timer pause_, limit_;
};

}  // namespace zlk::usbscan
