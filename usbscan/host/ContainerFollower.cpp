#include "usbscan/host/ContainerFollower.h"

#include <algorithm>
#include <limits>

namespace zlk::usbscan {
namespace {

// The container has no usable length, so only the end of the transfer can end it.
constexpr std::uint64_t toTheTransfersEnd = std::numeric_limits<std::uint64_t>::max();
// Stands for a length that the device doesn't know, or that 32 bits can't hold.
constexpr std::uint32_t unknownLength = 0xFFFFFFFF;

/// A little-endian number of `width` bytes.
std::uint32_t number(std::span<const std::byte> bytes, std::size_t at, std::size_t width) {
    std::uint32_t value = 0;
    for (std::size_t i = width; i-- > 0;)
        value = value << 8 | std::to_integer<std::uint32_t>(bytes[at + i]);
    return value;
}

}  // namespace

std::uint32_t containerLength(std::span<const std::byte> container) {
    return number(container, 0, 4);
}

ContainerType containerType(std::span<const std::byte> container) {
    return static_cast<ContainerType>(number(container, 4, 2));
}

std::uint16_t containerCode(std::span<const std::byte> container) {
    return static_cast<std::uint16_t>(number(container, 6, 2));
}

std::uint32_t containerTransaction(std::span<const std::byte> container) {
    return number(container, 8, 4);
}

bool isWholeResponse(std::span<const std::byte> bytes) {
    return bytes.size() >= containerHeaderSize && containerLength(bytes) == bytes.size() &&
           containerType(bytes) == ContainerType::Response;
}

void ContainerFollower::reset(std::uint32_t transaction, std::uint64_t first) noexcept {
    transaction_ = transaction;
    first_ = first;
    forgetContainer();
    transfer_ = 0;
    isHeld_ = false;
}

void ContainerFollower::forgetContainer() noexcept {
    headSize_ = 0;
    container_ = missing_ = 0;
}

/// An OK with another transaction's id is left over from an earlier transaction. Failures count
/// whatever their id: a camera that refuses to open a session twice answers with the id that the
/// open session has reached.
bool ContainerFollower::isAnswer() const noexcept {
    constexpr std::uint32_t ok = 0x2001;
    return headIsWhole() && containerType(head_) == ContainerType::Response &&
           (containerTransaction(head_) == transaction_ || number(head_, 6, 2) != ok);
}

std::uint64_t ContainerFollower::due() const noexcept {
    const bool isKnown = headIsWhole() && missing_ != toTheTransfersEnd;
    return isKnown ? missing_ : first_;
}

void ContainerFollower::takeHead(std::span<const std::byte> bytes) noexcept {
    std::copy(bytes.begin(), bytes.end(), head_.begin() + static_cast<std::ptrdiff_t>(headSize_));
    headSize_ += bytes.size();
    if (!headIsWhole()) return;
    const std::uint32_t length = number(head_, 0, 4);
    missing_ = length < containerHeaderSize || length == unknownLength
                   ? toTheTransfersEnd
                   : length - containerHeaderSize;
}

std::size_t ContainerFollower::take(std::span<const std::byte> bytes) noexcept {
    std::size_t taken = 0;
    if (!headIsWhole()) {
        taken = std::min(containerHeaderSize - headSize_, bytes.size());
        takeHead(bytes.first(taken));
        if (!headIsWhole()) return taken;
    }
    const std::size_t more =
        static_cast<std::size_t>(std::min<std::uint64_t>(missing_, bytes.size() - taken));
    if (missing_ != toTheTransfersEnd) missing_ -= more;
    return taken + more;
}

void ContainerFollower::append(ContainerCut cut, std::vector<ContainerCut>& cuts) {
    transfer_ += cut.bytes.size();
    cut.container = container_ += cut.bytes.size();
    if (headIsWhole() && missing_ == 0) {
        first_ = dueOfUnknown;
        cut.endsContainer = true;
        cut.endsData = containerType(head_) == ContainerType::Data;
        cut.endsResponse = isAnswer();
        cut.zeroPacketDue = container_ % packetSize_ == 0;
        forgetContainer();
    }
    cuts.push_back(cut);
}

/// A header that is cut in two by the end of a piece is held back until it is complete: readers
/// take a part of a header for a broken container.
void ContainerFollower::follow(std::span<const std::byte> bytes, bool endsTransfer,
                               std::vector<ContainerCut>& cuts) {
    // First the held header is completed. If the transfer ends before that, the header is handed
    // out as it is.
    if (isHeld_) {
        const std::size_t more = std::min(containerHeaderSize - headSize_, bytes.size());
        takeHead(bytes.first(more));
        bytes = bytes.subspan(more);
        if (!headIsWhole() && !endsTransfer) return;
        isHeld_ = false;
        held_ = head_;
        append({.bytes = std::span(held_).first(headSize_), .isHeld = true}, cuts);
    }
    // Several containers may have come glued together.
    while (!bytes.empty()) {
        const std::size_t taken = take(bytes);
        isHeld_ = !headIsWhole() && !endsTransfer;
        if (isHeld_) return;
        append({.bytes = bytes.first(taken)}, cuts);
        bytes = bytes.subspan(taken);
    }
    if (!endsTransfer) return;
    // A transfer that ends after a full packet, or without any, was ended by a zero-length packet.
    if (transfer_ % packetSize_ == 0) cuts.push_back({});
    transfer_ = 0;
    // A container goes on after a short packet, since some devices send the header in a packet of
    // its own. Only one without a usable length, or without a whole header, ends here.
    if (headIsWhole() && missing_ == toTheTransfersEnd) cuts.back().endsResponse = isAnswer();
    if (!headIsWhole() || missing_ == toTheTransfersEnd) forgetContainer();
}

}  // namespace zlk::usbscan
