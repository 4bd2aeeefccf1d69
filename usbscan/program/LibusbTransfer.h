#pragma once
// A libusb transfer that is used again and again.

#include <libusb.h>

#include <functional>

#include "usbscan/host/UsbDevice.h"
#include "usbscan/program/LibusbContext.h"

namespace zlk::usbscan {

/// The status of a transfer whose submission failed with this libusb_error.
UsbStatus statusOfError(int error);

class LibusbTransfer {
  public:
    using Ended = std::function<void(UsbStatus)>;

    explicit LibusbTransfer(LibusbContext& context);
    /// The transfer must not be in flight, unless its device handle has been closed.
    ~LibusbTransfer();
    LibusbTransfer(const LibusbTransfer&) = delete;
    LibusbTransfer& operator=(const LibusbTransfer&) = delete;

    /// The caller fills in the transfer before submit(), except for its callback and user data.
    /// Once the transfer has ended, it has the actual length.
    libusb_transfer& operator*() const noexcept { return *transfer_; }
    libusb_transfer* operator->() const noexcept { return transfer_; }

    /// Returns 0, in which case `ended` will be called from the loop, or a libusb_error.
    int submit(Ended ended);
    /// Makes the transfer end as Cancelled, unless it has ended already.
    void cancel() noexcept;

    /// Whether the kernel has the transfer.
    bool inFlight() const noexcept { return inFlight_; }
    /// Whether the transfer is in flight, or its end hasn't been reported yet.
    bool busy() const noexcept { return ended_ != nullptr; }

  private:
    /// Called by libusb when the transfer has ended.
    void landed();

    LibusbContext& context_;
    libusb_transfer* transfer_;
    bool inFlight_ = false;
    Ended ended_;
};

}  // namespace zlk::usbscan
