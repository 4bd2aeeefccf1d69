#pragma once
// One transfer of libusb, used again and again.

#include <libusb.h>

#include <functional>

#include "usbscan/host/UsbDevice.h"
#include "usbscan/program/LibusbContext.h"

namespace zlk::usbscan {

/// How a call that failed with this libusb_error ends what was asked for.
UsbStatus statusOfError(int error);

class LibusbTransfer {
  public:
    using Ended = std::function<void(UsbStatus)>;

    explicit LibusbTransfer(LibusbContext& context);
    /// It must not be in flight, or its device handle be closed.
    ~LibusbTransfer();
    LibusbTransfer(const LibusbTransfer&) = delete;
    LibusbTransfer& operator=(const LibusbTransfer&) = delete;

    /// To be filled in before submit(), but for its callback; has the actual length afterwards.
    libusb_transfer& operator*() const noexcept { return *transfer_; }
    libusb_transfer* operator->() const noexcept { return transfer_; }

    /// 0, and `ended` will be called from the loop; or a libusb_error, and it won't.
    int submit(Ended ended);
    /// Ends it as Cancelled, if it hasn't ended yet.
    void cancel() noexcept;

    bool inFlight() const noexcept { return inFlight_; }
    /// In flight, or ended and that not reported yet.
    bool busy() const noexcept { return ended_ != nullptr; }

  private:
    void landed();

    LibusbContext& context_;
    libusb_transfer* transfer_;
    bool inFlight_ = false;
    Ended ended_;
};

}  // namespace zlk::usbscan
