#include "usbscan/host/RecordingDevice.h"

#include <utility>

namespace zlk::usbscan {

RecordingDevice::RecordingDevice(std::unique_ptr<UsbDevice> device) : device_(std::move(device)) {
    device_->setListener(this);
}

/// A transfer may end after its recording, so the recorder isn't kept alive for it.
UsbDevice::DoneWithBytes RecordingDevice::recorded(const Recorder::Transfer& transfer,
                                                   DoneWithBytes done) const {
    return [transfer, recorder = std::weak_ptr(recorder_), done = std::move(done)](
               UsbStatus status, std::span<const std::byte> bytes) {
        if (const auto lasting = recorder.lock()) lasting->ended(transfer, status, bytes);
        done(status, bytes);
    };
}

void RecordingDevice::write(std::span<const std::byte> bytes, bool zeroPacket, Done done) {
    if (!recorder_) return device_->write(bytes, zeroPacket, std::move(done));
    const auto ended = recorded(recorder_->writeBegins(bytes, zeroPacket),
                                [done = std::move(done)](UsbStatus status, auto) { done(status); });
    device_->write(bytes, zeroPacket, [ended](UsbStatus status) { ended(status, {}); });
}

void RecordingDevice::control(const UsbRequest& request, DoneWithBytes done) {
    if (recorder_) done = recorded(recorder_->controlBegins(request), std::move(done));
    device_->control(request, std::move(done));
}

void RecordingDevice::waitForInterrupt(DoneWithBytes done) {
    if (recorder_) done = recorded(recorder_->interruptBegins(), std::move(done));
    device_->waitForInterrupt(std::move(done));
}

bool RecordingDevice::clearHalt(std::uint8_t endpoint) {
    const bool done = device_->clearHalt(endpoint);
    if (recorder_) recorder_->haltCleared(endpoint, done);
    return done;
}

void RecordingDevice::arrived(UsbPiece piece) {
    if (recorder_) recorder_->arrived(piece);
    if (listener_) listener_->arrived(std::move(piece));
}

void RecordingDevice::readingStopped(UsbStatus why) {
    if (recorder_) recorder_->readingStopped(why);
    if (listener_) listener_->readingStopped(why);
}

}  // namespace zlk::usbscan
