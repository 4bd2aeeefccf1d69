#pragma once
// Sends control requests to the device one after the other, since the device takes one at a time
// and both clients and a recovery have requests.

#include <deque>
#include <vector>

#include "usbscan/host/UsbDevice.h"

namespace zlk::usbscan {

class ControlQueue {
  public:
    explicit ControlQueue(UsbDevice& device) noexcept : device_(device) {}

    /// Queues the request. `request.out` is copied. `done` is called from the event loop.
    void add(const UsbRequest& request, UsbDevice::DoneWithBytes done);

  private:
    struct Waiting {
        UsbRequest request;
        std::vector<std::byte> out;
        UsbDevice::DoneWithBytes done;
    };
    void next();

    UsbDevice& device_;
    std::deque<Waiting> waiting_;  // the first one is under way
};

}  // namespace zlk::usbscan
