#include "usbscan/program/BulkReader.h"

#include <algorithm>
#include <utility>

#include "usbscan/Protocol.h"

namespace zlk::usbscan {
namespace {

// The area that is shared with a client has a slot for a piece of each transfer.
constexpr std::size_t transfers = areaSlots;
constexpr std::size_t largestBuffer = areaSlotSize;
// Bytes; buffers aren't made smaller than this. If the kernel has no memory for them, reading
// fails.
constexpr std::size_t smallestBuffer = 8 * 1024;

/// `size` rounded down to whole packets. Buffers have such sizes, so that a transfer that roomFor()
/// rounds up isn't larger than its buffer.
std::size_t wholePackets(std::size_t size, const UsbEndpoint& endpoint) {
    return size - size % endpoint.maximumPacketSize;
}

/// `size` rounded up to whole packets. Otherwise the transfer would fail if its last packet came
/// full.
std::size_t roomFor(std::size_t size, const UsbEndpoint& endpoint) {
    return wholePackets(size + endpoint.maximumPacketSize - 1, endpoint);
}

}  // namespace

struct BulkReader::Slot {
    explicit Slot(LibusbContext& context) : transfer(context) {}
    bool free() const { return !transfer.busy() && lease.expired(); }

    LibusbTransfer transfer;
    std::size_t asked = 0;  // bytes that the busy transfer was submitted for
    bool forNext = false;   // the transfer is for what comes after what is due
    std::shared_ptr<Buffer> buffer;
    std::weak_ptr<const void> lease;  // not expired: the buffer is lent
};

/// Keeps the bytes of a piece valid, even after the reader is destroyed. When the lease ends, the
/// reader may use the buffer again.
struct BulkReader::Lease {
    Lease(std::shared_ptr<const Buffer> lent, std::weak_ptr<BulkReader*> lender)
        : buffer(std::move(lent)), reader(std::move(lender)) {}
    Lease(const Lease&) = delete;
    Lease& operator=(const Lease&) = delete;
    ~Lease() {
        if (const auto lender = reader.lock()) (*lender)->submitFree();
    }

    std::shared_ptr<const Buffer> buffer;
    std::weak_ptr<BulkReader*> reader;
};

BulkReader::BulkReader(LibusbContext& context, libusb_device_handle* handle,
                       const UsbEndpoint& endpoint)
    : context_(context),
      handle_(handle),
      endpoint_(endpoint),
      bufferSize_(wholePackets(largestBuffer, endpoint)),
      mostInFlight_(transfers) {
    for (std::size_t i = 0; i < transfers; ++i) slots_.push_back(std::make_unique<Slot>(context));
}

BulkReader::~BulkReader() = default;

void BulkReader::read(std::uint64_t due, bool andNext) {
    if (failure_) return;
    // What earlier calls have asked for counts; only the rest is new. If what comes next is already
    // asked for by a transfer of its own, another one isn't needed.
    std::uint64_t asked = 0;
    asksNext_ = andNext;
    for (const auto& slot : slots_) {
        if (!slot->transfer.busy()) continue;
        // A transfer that has ended, but whose end isn't reported yet, brings what has come, and no
        // more.
        const std::size_t brings = slot->transfer.inFlight()
                                       ? slot->asked
                                       : static_cast<std::size_t>(slot->transfer->actual_length);
        if (andNext && slot->forNext && brings > 0)
            asksNext_ = false;
        else
            asked += brings;
    }
    toAsk_ = due > asked ? due - asked : 0;
    submitFree();
}

bool BulkReader::stop() {
    const bool wasInFlight = inFlight();
    failure_.reset();
    cancel();
    context_.workUntil([this] { return !inFlight(); }, patienceWithCancelling);
    return wasInFlight;
}

void BulkReader::cancel() noexcept {
    toAsk_ = 0;
    asksNext_ = false;
    for (const auto& slot : slots_) slot->transfer.cancel();
}

std::size_t BulkReader::countInFlight() const noexcept {
    return std::count_if(slots_.begin(), slots_.end(),
                         [](const auto& slot) { return slot->transfer.inFlight(); });
}

void BulkReader::submitFree() {
    for (const auto& slot : slots_) {
        const auto next = [&] {
            return roomFor(static_cast<std::size_t>(std::min<std::uint64_t>(toAsk_, bufferSize_)),
                           endpoint_);
        };
        if ((toAsk_ == 0 && !asksNext_) || countInFlight() >= mostInFlight_) return;
        // submit() returns false after it has halved the buffers; the next try asks for less.
        while (toAsk_ > 0 && slot->free() && !submit(*slot, next(), false)) {
        }
        if (toAsk_ == 0 && asksNext_ && slot->free()) {
            asksNext_ = false;
            submit(*slot, endpoint_.maximumPacketSize, true);
        }
    }
}

/// Returns false if the kernel had no memory for a buffer of this size, but a smaller size can be
/// tried.
bool BulkReader::submit(Slot& slot, std::size_t size, bool forNext) {
    if (!slot.buffer || slot.buffer->size() != bufferSize_)
        slot.buffer = std::make_shared<Buffer>(bufferSize_);
    slot.asked = size;
    slot.forNext = forNext;
    libusb_fill_bulk_transfer(&*slot.transfer, handle_, endpoint_.address,
                              reinterpret_cast<unsigned char*>(slot.buffer->data()),
                              static_cast<int>(size), nullptr, nullptr, 0);
    const int error =
        slot.transfer.submit([this, &slot](UsbStatus status) { ended(slot, status); });
    if (!error) {
        if (!forNext) toAsk_ -= std::min<std::uint64_t>(toAsk_, size);
        return true;
    }
    // The kernel reports a lack of memory in different ways. From now on there are no more
    // transfers at a time than are in flight now. If there are none, the buffers are halved.
    if (error != LIBUSB_ERROR_NO_MEM && error != LIBUSB_ERROR_IO) {
        fail(statusOfError(error));
    } else if (const std::size_t others = countInFlight()) {
        mostInFlight_ = others;
    } else if (const auto half = wholePackets(bufferSize_ / 2, endpoint_); half >= smallestBuffer) {
        bufferSize_ = half;
        return false;
    } else {
        fail(UsbStatus::Failed);
    }
    return true;
}

void BulkReader::ended(Slot& slot, UsbStatus status) {
    const auto length = static_cast<std::size_t>(slot.transfer->actual_length);
    // libusb doesn't report a zero-length packet, but a transfer that ends without being full was
    // ended by a short packet or a zero-length one.
    const bool endsTransfer = status == UsbStatus::Done && length < slot.asked;
    // After a failure bytes may be missing, so what comes after it isn't delivered.
    if (!failure_ && (length || endsTransfer)) deliver(slot, endsTransfer);
    if (status == UsbStatus::Done || status == UsbStatus::Cancelled)
        submitFree();
    else if (!failure_)
        fail(status);
    tellFailure();
}

void BulkReader::deliver(Slot& slot, bool endsTransfer) {
    if (!listener_) return;
    const auto lease = std::make_shared<const Lease>(slot.buffer, self_);
    slot.lease = lease;
    listener_->arrived(
        {std::span(*slot.buffer).first(static_cast<std::size_t>(slot.transfer->actual_length)),
         endsTransfer, lease});
}

void BulkReader::fail(UsbStatus why) {
    cancel();
    failure_ = why;
    context_.post([this] { tellFailure(); });
}

bool BulkReader::isBusy() const noexcept {
    return std::any_of(slots_.begin(), slots_.end(),
                       [](const auto& slot) { return slot->transfer.busy(); });
}

/// A failure is reported last, after all that arrived before it.
void BulkReader::tellFailure() {
    if (!failure_ || isBusy()) return;
    const UsbStatus why = *std::exchange(failure_, std::nullopt);
    if (listener_) listener_->readingStopped(why);
}

}  // namespace zlk::usbscan
