#include "usbscan/program/LibusbTransfer.h"

#include <new>
#include <utility>

namespace zlk::usbscan {
namespace {

UsbStatus statusOf(libusb_transfer_status status) {
    switch (status) {
        case LIBUSB_TRANSFER_COMPLETED:
            return UsbStatus::Done;
        case LIBUSB_TRANSFER_STALL:
            return UsbStatus::Stalled;
        case LIBUSB_TRANSFER_CANCELLED:
            return UsbStatus::Cancelled;
        case LIBUSB_TRANSFER_TIMED_OUT:
            return UsbStatus::TimedOut;
        case LIBUSB_TRANSFER_NO_DEVICE:
            return UsbStatus::Gone;
        default:
            return UsbStatus::Failed;
    }
}

}  // namespace

UsbStatus statusOfError(int error) {
    return error == LIBUSB_ERROR_NO_DEVICE ? UsbStatus::Gone : UsbStatus::Failed;
}

LibusbTransfer::LibusbTransfer(LibusbContext& context)
    : context_(context), transfer_(libusb_alloc_transfer(0)) {
    if (!transfer_) throw std::bad_alloc();
}

LibusbTransfer::~LibusbTransfer() {
    libusb_free_transfer(transfer_);
}

int LibusbTransfer::submit(Ended ended) {
    transfer_->user_data = this;
    transfer_->callback = [](libusb_transfer* transfer) {
        static_cast<LibusbTransfer*>(transfer->user_data)->landed();
    };
    if (const int error = libusb_submit_transfer(transfer_); error) return error;
    inFlight_ = true;
    ended_ = std::move(ended);
    context_.timeoutsChanged();
    return 0;
}

void LibusbTransfer::cancel() noexcept {
    if (inFlight_) libusb_cancel_transfer(transfer_);
}

// The result is reported from the loop, because libusb's events are also handled inside of calls
// that block, such as stopReading().
void LibusbTransfer::landed() {
    inFlight_ = false;
    context_.post([this] { std::exchange(ended_, nullptr)(statusOf(transfer_->status)); });
}

}  // namespace zlk::usbscan
