#pragma once
// Reads the bytes that are due from a bulk-in pipe; many bytes are read by several transfers at a
// time. The buffer of a piece is lent to the piece's receiver and is used again once the receiver
// has released it, so reading pauses by itself while all buffers are lent.

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
    /// `handle` is borrowed, and must be open as long as transfers are in flight. The packet size
    /// must not be 0.
    BulkReader(LibusbContext& context, libusb_device_handle* handle, const UsbEndpoint& endpoint);
    ~BulkReader();
    BulkReader(const BulkReader&) = delete;
    BulkReader& operator=(const BulkReader&) = delete;

    void setListener(UsbDevice::Listener* listener) noexcept { listener_ = listener; }
    /// These are read() and stopReading() of UsbDevice.
    void read(std::uint64_t due, bool andNext);
    bool stop();
    bool inFlight() const noexcept { return countInFlight() != 0; }

  private:
    using Buffer = std::vector<std::byte>;
    /// A Slot is a transfer with its buffer. A Lease is what the receiver of a piece holds while
    /// the buffer is lent.
    struct Slot;
    struct Lease;

    /// Starts transfers for what is still to be asked for, as far as slots are free.
    void submitFree();
    bool submit(Slot& slot, std::size_t size, bool forNext);
    void cancel() noexcept;
    /// Takes a transfer's result, from the loop.
    void ended(Slot& slot, UsbStatus status);
    void deliver(Slot& slot, bool endsTransfer);
    /// Takes all transfers back; the failure is reported when they have ended.
    void fail(UsbStatus why);
    void tellFailure();
    std::size_t countInFlight() const noexcept;
    /// Whether a transfer is in flight, or its end isn't reported yet.
    bool isBusy() const noexcept;

    LibusbContext& context_;
    libusb_device_handle* handle_;
    const UsbEndpoint endpoint_;
    UsbDevice::Listener* listener_ = nullptr;
    std::vector<std::unique_ptr<Slot>> slots_;
    std::size_t bufferSize_;            ///< a multiple of the packet size
    std::size_t mostInFlight_;          ///< transfers at a time; fewer after a lack of memory
    std::uint64_t toAsk_ = 0;           ///< bytes that are due and in no transfer yet
    bool asksNext_ = false;             ///< a transfer for what comes next is to be started too
    std::optional<UsbStatus> failure_;  ///< reported when nothing is in flight any more
    std::shared_ptr<BulkReader*> self_ = std::make_shared<BulkReader*>(this);  ///< for the leases
};

}  // namespace zlk::usbscan
