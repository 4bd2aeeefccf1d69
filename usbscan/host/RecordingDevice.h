#pragma once
// Wraps a device and records its transfers while a recorder is set.

#include <memory>

#include "usbscan/host/UsbDevice.h"
#include "usbscan/recording/Recorder.h"

namespace zlk::usbscan {

class RecordingDevice final : public UsbDevice, private UsbDevice::Listener {
  public:
    /// Takes over the device, and becomes its listener.
    explicit RecordingDevice(std::unique_ptr<UsbDevice> device);

    /// Sets the recorder of what begins or arrives from now on; null for none.
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
    /// A callback that tells the recorder of the transfer's end, and then calls `done`.
    DoneWithBytes recorded(const Recorder::Transfer& transfer, DoneWithBytes done) const;

    std::shared_ptr<Recorder> recorder_;
    UsbDevice::Listener* listener_ = nullptr;  // borrowed; gets what the device reports
    std::unique_ptr<UsbDevice> device_;        // destroyed first, since it may report until then
};

}  // namespace zlk::usbscan
