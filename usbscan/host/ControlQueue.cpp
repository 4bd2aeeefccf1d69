#include "usbscan/host/ControlQueue.h"

#include <utility>

namespace zlk::usbscan {

void ControlQueue::add(const UsbRequest& request, UsbDevice::DoneWithBytes done) {
    waiting_.push_back({request, {request.out.begin(), request.out.end()}, std::move(done)});
    if (waiting_.size() == 1) next();
}

void ControlQueue::next() {
    UsbRequest& request = waiting_.front().request;
    // The span pointed to the caller's bytes, which were copied.
    request.out = waiting_.front().out;
    device_.control(request, [this](UsbStatus status, std::span<const std::byte> bytes) {
        // `done` is called last, because it may add another request.
        const UsbDevice::DoneWithBytes done = std::move(waiting_.front().done);
        waiting_.pop_front();
        if (!waiting_.empty()) next();
        done(status, bytes);
    });
}

}  // namespace zlk::usbscan
