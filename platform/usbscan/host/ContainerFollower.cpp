#include "platform/usbscan/host/ContainerFollower.h"

#include <algorithm>
#include <limits>

namespace zlk::usbscan {
namespace {

constexpr std::uint64_t toTheTransfersEnd = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint32_t unknownLength = 0xFFFFFFFF;
// A response and a small data phase fit, and the head of a large one.
constexpr std::uint64_t dueOfUnknown = 16 * 1024;

std::uint32_t number(std::span<const std::byte> bytes, std::size_t at, std::size_t width) {
    std::uint32_t value = 0;
    for (std::size_t i = width; i-- > 0;)
        value = value << 8 | std::to_integer<std::uint32_t>(bytes[at + i]);
    return value;
}

}  // namespace

ContainerType containerType(std::span<const std::byte> container) {
    return static_cast<ContainerType>(number(container, 4, 2));
}

std::uint32_t containerTransaction(std::span<const std::byte> container) {
    return number(container, 8, 4);
}

void ContainerFollower::reset(std::uint32_t transaction) noexcept {
    transaction_ = transaction;
    forgetContainer();
    transfer_ = 0;
}

void ContainerFollower::forgetContainer() noexcept {
    headSize_ = 0;
    container_ = missing_ = 0;
}

/// A response with another id is left over from an earlier transaction. But a camera that refuses
/// to open its open session answers with the id that the session has come to.
bool ContainerFollower::isAnswer() const noexcept {
    constexpr std::uint32_t ok = 0x2001;
    return headIsWhole() && containerType(head_) == ContainerType::Response &&
           (containerTransaction(head_) == transaction_ || number(head_, 6, 2) != ok);
}

std::uint64_t ContainerFollower::due() const noexcept {
    const bool isKnown = headIsWhole() && missing_ != toTheTransfersEnd;
    return isKnown ? missing_ : dueOfUnknown;
}

std::size_t ContainerFollower::take(std::span<const std::byte> bytes) noexcept {
    std::size_t taken = 0;
    if (!headIsWhole()) {
        taken = std::min(containerHeaderSize - headSize_, bytes.size());
        std::copy_n(bytes.begin(), taken, head_.begin() + static_cast<std::ptrdiff_t>(headSize_));
        headSize_ += taken;
        if (!headIsWhole()) return taken;
        const std::uint32_t length = number(head_, 0, 4);
        missing_ = length < containerHeaderSize || length == unknownLength
                       ? toTheTransfersEnd
                       : length - containerHeaderSize;
    }
    const std::size_t more =
        static_cast<std::size_t>(std::min<std::uint64_t>(missing_, bytes.size() - taken));
    if (missing_ != toTheTransfersEnd) missing_ -= more;
    return taken + more;
}

void ContainerFollower::follow(std::span<const std::byte> bytes, bool endsTransfer,
                               std::vector<ContainerCut>& cuts) {
    while (!bytes.empty()) {
        ContainerCut cut;
        const std::size_t taken = take(bytes);
        cut.bytes = bytes.first(taken);
        bytes = bytes.subspan(taken);
        transfer_ += taken;
        container_ += taken;
        if (headIsWhole() && missing_ == 0) {
            cut.endsContainer = true;
            cut.endsResponse = isAnswer();
            cut.zeroPacketDue = container_ % packetSize_ == 0;
            forgetContainer();
        }
        cuts.push_back(cut);
    }
    if (!endsTransfer) return;
    if (transfer_ % packetSize_ == 0) cuts.push_back({});
    transfer_ = 0;
    // A container goes on behind a short packet, unless only that could end it.
    if (headIsWhole() && missing_ == toTheTransfersEnd) cuts.back().endsResponse = isAnswer();
    if (!headIsWhole() || missing_ == toTheTransfersEnd) forgetContainer();
}

}  // namespace zlk::usbscan
