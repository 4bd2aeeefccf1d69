#pragma once
// Control requests, one after the other: the device takes one at a time, and clients as well as a
// recovery have some.

#include <deque>
#include <vector>

#include "usbscan/host/UsbDevice.h"

namespace zlk::usbscan {

class ControlQueue {
  public:
    explicit ControlQueue(UsbDevice& device) noexcept : device_(device) {}

    /// `request.out` is copied.
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
