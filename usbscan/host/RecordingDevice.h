#pragma once
// A device whose transfers are recorded, while somebody wants it.

#include <memory>

#include "usbscan/host/UsbDevice.h"
#include "usbscan/recording/Recorder.h"

namespace zlk::usbscan {

class RecordingDevice final : public UsbDevice, private UsbDevice::Listener {
  public:
    explicit RecordingDevice(std::unique_ptr<UsbDevice> device);

    /// From now on; null: no more.
    void setRecorder(std::shared_ptr<Recorder> recorder) { recorder_ = std::move(recorder); }

    const UsbFacts& facts() const override { return device_->facts(); }
    void setListener(UsbDevice::Listener* listener) override { listener_ = listener; }
    void read(std::uint64_t due, bool andNext) override { device_->read(due, andNext); }
    bool stopReading() override { return device_->stopReading(); }
    void write(std::span<const std::byte> bytes, bool zeroPacket, Done done) override;
    void cancelWrite() override { device_->cancelWrite(); }
    void control(const UsbRequest& request, DoneWithBytes done) override;
    void waitForInterrupt(DoneWithBytes done) override;
    void cancelInterrupt() override { device_->cancelInterrupt(); }
    bool clearHalt(std::uint8_t endpoint) override;
    bool reset() override { return device_->reset(); }

  private:
    void arrived(UsbPiece piece) override;
    void readingStopped(UsbStatus why) override;
    DoneWithBytes recorded(const Recorder::Transfer& transfer, DoneWithBytes done) const;

    std::shared_ptr<Recorder> recorder_;
    UsbDevice::Listener* listener_ = nullptr;
    std::unique_ptr<UsbDevice> device_;  // first to go: until then it may report
};

}  // namespace zlk::usbscan
