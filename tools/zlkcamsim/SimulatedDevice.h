#pragma once
// A device's end of the bus as the device of a host in the same process and on the same loop:
// bytes to the host stay where the device has them.

#include <memory>
#include <utility>
#include <vector>

#include "tools/zlkcamsim/UsbFunction.h"
#include "usbscan/host/EventLoop.h"
#include "usbscan/host/UsbDevice.h"

namespace zlk::camsim {

/// The function outlives it; one device at a time for each.
class SimulatedDevice final : public usbscan::UsbDevice {
  public:
    SimulatedDevice(usbscan::EventLoop& loop, UsbFunction& function);
    ~SimulatedDevice() override;

    const usbscan::UsbFacts& facts() const override { return facts_; }
    void setListener(Listener* listener) override { listener_ = listener; }
    void read(std::uint64_t due, bool andNext) override;
    bool stopReading() override { return std::exchange(due_, 0) > 0; }
    void write(std::span<const std::byte> bytes, bool zeroPacket, Done done) override;
    void cancelWrite() override;
    void control(const usbscan::UsbRequest& request, DoneWithBytes done) override;
    void waitForInterrupt(DoneWithBytes done) override;
    void cancelInterrupt() override;
    bool clearHalt(std::uint8_t endpoint) override;
    bool reset() override;

  private:
    void post(usbscan::EventLoop::Task task);
    /// Sees, from the loop, which pipes have something new.
    void schedule();
    void pump();
    void pumpIn();
    void pumpOut();
    void pumpInterrupt();
    void finishWrite(usbscan::UsbStatus status);
    std::size_t roomFor(std::uint64_t due) const;
    std::shared_ptr<const void> counted(std::shared_ptr<const void> keeper);

    usbscan::EventLoop& loop_;
    UsbFunction& function_;
    usbscan::UsbFacts facts_;
    Listener* listener_ = nullptr;
    std::uint64_t due_ = 0;
    bool scheduled_ = false;

    std::span<const std::byte> toWrite_;
    bool zeroPacket_ = false;
    Done written_;
    DoneWithBytes interrupted_;

    /// What outlives the device with pieces that the host still holds: their number. Its own end
    /// is what a late task or piece finds expired.
    struct Outstanding {
        SimulatedDevice* device;
        int pieces = 0;
    };
    std::shared_ptr<Outstanding> outstanding_;
};

}  // namespace zlk::camsim
