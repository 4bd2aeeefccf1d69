#pragma once
// Reads as many bytes of a bulk-in pipe as are due, with several large transfers at once. A buffer
// is lent with the piece that lies in it and is used again when that is let go of; so reading
// pauses by itself while all of them are lent.

#include <libusb.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <vector>

#include "usbscan/host/UsbDevice.h"
#include "usbscan/program/LibusbTransfer.h"

namespace zlk::usbscan {

class BulkReader {
  public:
    /// `handle` stays the caller's; the packet size isn't 0.
    BulkReader(LibusbContext& context, libusb_device_handle* handle, const UsbEndpoint& endpoint);
    ~BulkReader();
    BulkReader(const BulkReader&) = delete;
    BulkReader& operator=(const BulkReader&) = delete;

    void setListener(UsbDevice::Listener* listener) noexcept { listener_ = listener; }
    /// As read() and stopReading() of UsbDevice.
    void read(std::uint64_t due, bool andNext);
    bool stop();
    bool inFlight() const noexcept { return countInFlight() != 0; }

  private:
    using Buffer = std::vector<std::byte>;
    struct Slot;
    struct Lease;

    void submitFree();
    bool submit(Slot& slot, std::size_t size, bool forNext);
    void cancel() noexcept;
    void ended(Slot& slot, UsbStatus status);
    void deliver(Slot& slot, bool endsTransfer);
    void fail(UsbStatus why);
    void tellFailure();
    std::size_t countInFlight() const noexcept;
    bool isBusy() const noexcept;

    LibusbContext& context_;
    libusb_device_handle* handle_;
    const UsbEndpoint endpoint_;
    UsbDevice::Listener* listener_ = nullptr;
    std::vector<std::unique_ptr<Slot>> slots_;
    std::size_t bufferSize_;            ///< a multiple of the packet size
    std::size_t mostInFlight_;          ///< as the kernel's memory allows
    std::uint64_t toAsk_ = 0;           ///< bytes that are due and in no transfer yet
    bool asksNext_ = false;             ///< and a transfer for what comes next isn't either
    std::optional<UsbStatus> failure_;  ///< told when nothing is in flight any more
    std::shared_ptr<BulkReader*> self_ = std::make_shared<BulkReader*>(this);  ///< for the leases
};

}  // namespace zlk::usbscan
