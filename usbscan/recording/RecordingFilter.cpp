#include "usbscan/recording/RecordingFilter.h"

#include <algorithm>
#include <limits>

namespace zlk::usbscan {
namespace {

constexpr std::uint32_t unknownLength = 0xFFFFFFFF;
constexpr std::uint16_t command = 1, data = 2;
// Bytes; programs that read recordings refuse packets of more than 256 KiB.
constexpr std::size_t mostInPart = 128 * 1024;
constexpr std::size_t longestMessage = 32;  // a command or a response with all parameters

std::uint32_t number(std::span<const std::byte> bytes, std::size_t at, std::size_t width) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < width; ++i)
        value |= std::to_integer<std::uint32_t>(bytes[at + i]) << (8 * i);
    return value;
}

}  // namespace

/// Judges by the operation that the host has sent, since a device could put any code into the
/// header of its data.
bool RecordingFilter::describes(std::uint16_t operation, std::uint32_t parameter) const {
    constexpr std::uint16_t getDeviceInfo = 0x1001, getObjectInfo = 0x1008, sendObjectInfo = 0x100C,
                            firstOfProperties = 0x1014, lastOfProperties = 0x1017, battery = 0x5001,
                            clock = 0x5011;
    if (operation >= firstOfProperties && operation <= lastOfProperties)
        // Any other property may hold a text or a setting that leads to the owner.
        return !options_.anonymous || parameter == battery || parameter == clock;
    return (operation >= getDeviceInfo && operation <= getObjectInfo) ||
           operation == sendObjectInfo;
}

void RecordingFilter::judge(Stream& stream) {
    const std::uint32_t length = number(stream.head, 0, 4), type = number(stream.head, 4, 2);
    stream.left = length == unknownLength ? std::numeric_limits<std::uint64_t>::max()
                                          : std::max<std::uint64_t>(length, headSize) - headSize;
    // An unusually long "response" could carry a file's content, so it isn't recorded either.
    const bool isMessage = type != data && length <= longestMessage;
    const bool isKnown = type == data && describes(operation_, parameter_);
    stream.isContent = !isMessage && !isKnown;
    stream.blackout = isKnown && options_.anonymous ? Blackout(operation_, parameter_) : Blackout();
}

std::size_t RecordingFilter::takeHead(Stream& stream, std::span<const std::byte> bytes) {
    const std::size_t taken = std::min(bytes.size(), headSize - stream.headLength);
    std::copy_n(bytes.begin(), taken,
                stream.head.begin() + static_cast<std::ptrdiff_t>(stream.headLength));
    stream.headLength += taken;
    if (taken > 0 && stream.headLength == headSize) judge(stream);
    return taken;
}

void RecordingFilter::noteCommand(std::span<const std::byte> container) {
    if (container.size() < headSize || number(container, 4, 2) != command) return;
    operation_ = static_cast<std::uint16_t>(number(container, 6, 2));
    parameter_ = container.size() >= headSize + 4 ? number(container, headSize, 4) : 0;
    // An earlier answer that was broken off won't be completed after a new command.
    toHost_ = {};
}

std::vector<RecordingFilter::Part> RecordingFilter::split(Direction direction,
                                                          std::span<const std::byte> bytes,
                                                          bool endsTransfer, bool isLight) {
    const bool isOut = direction == Direction::ToDevice;
    Stream& stream = isOut ? toDevice_ : toHost_;
    if (isOut && stream.headLength == 0) noteCommand(bytes);
    std::vector<Part> parts;
    // At least one part is made, so that zero-length packets are recorded too.
    do {
        Part& part = parts.emplace_back();
        part.beginsContainer = stream.headLength == 0 && !bytes.empty();
        const std::size_t head = takeHead(stream, bytes);
        const auto payload = static_cast<std::size_t>(
            std::min<std::uint64_t>(stream.left, std::min(bytes.size(), mostInPart) - head));
        part.length = head + payload;
        const bool keepsAll = !stream.isContent || (options_.payloads && !isLight);
        part.kept.assign(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(
                                                            keepsAll ? part.length : head));
        stream.blackout.pass(std::span(part.kept).subspan(head));
        stream.left -= payload;
        bytes = bytes.subspan(part.length);
        if (stream.headLength == headSize && stream.left == 0) stream = {};
    } while (!bytes.empty());
    // A container that the host sends ends with its transfer. A container that the device sends may
    // go on after a short packet, unless its length is unknown.
    if (endsTransfer && (isOut || stream.left > std::numeric_limits<std::uint32_t>::max()))
        stream = {};
    return parts;
}

}  // namespace zlk::usbscan
