#pragma once
// Connects a UsbFunction to a device host in the same process and on the same loop. The bytes of
// the bulk pipe to the host aren't copied: they stay where the function has them.

#include <memory>
#include <utility>
#include <vector>

#include "tools/zlkcamsim/UsbFunction.h"
#include "usbscan/host/EventLoop.h"
#include "usbscan/host/UsbDevice.h"

namespace zlk::camsim {

/// The function outlives this, and has only one SimulatedDevice at a time. All calls come on the
/// loop's thread.
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
    /// Runs a task from the loop.
    void post(usbscan::EventLoop::Task task);
    /// Has the loop call pump(), which sees what each pipe can do now.
    void schedule();
    void pump();
    void pumpIn();
    void pumpOut();
    void pumpInterrupt();
    void finishWrite(usbscan::UsbStatus status);
    /// How many bytes to ask the function for: those that are due, but at most one piece, rounded
    /// up to whole packets.
    std::size_t roomFor(std::uint64_t due) const;
    std::shared_ptr<const void> counted(std::shared_ptr<const void> keeper);

    usbscan::EventLoop& loop_;
    UsbFunction& function_;
    usbscan::UsbFacts facts_;
    Listener* listener_ = nullptr;
    // Bytes that the host still wants to read.
    std::uint64_t due_ = 0;
    // Whether pump() is going to be called.
    bool scheduled_ = false;

    // The write in progress: what is left of it, whether a zero-length packet follows if its last
    // packet is full, and the callback for its end.
    std::span<const std::byte> toWrite_;
    bool zeroPacket_ = false;
    Done written_;
    // Set while the host waits for an interrupt transfer.
    DoneWithBytes interrupted_;

    /// Pieces that the host holds and tasks in the loop refer to this and not to the device, since
    /// they may live longer than the device. A task or piece that outlives the device finds this
    /// expired.
    struct Outstanding {
        SimulatedDevice* device;
        int pieces = 0;
    };
    std::shared_ptr<Outstanding> outstanding_;
};

}  // namespace zlk::camsim
