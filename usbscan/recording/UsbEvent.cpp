#include "usbscan/recording/UsbEvent.h"

#include <cstring>

namespace zlk::usbscan {
namespace {

constexpr std::int64_t microsecondsInASecond = 1'000'000;

/// The format's layout, in this machine's byte order.
struct Header {
    std::uint64_t transfer;
    std::uint8_t kind, pipe, endpoint, device;
    std::uint16_t bus;
    char hasNoSetup, hasNoData;
    std::int64_t seconds;
    std::int32_t microseconds, status;
    std::uint32_t length, dataLength;
    std::array<std::byte, 8> setup;
    std::int32_t interval, startFrame;
    std::uint32_t flags, descriptors;
};
static_assert(sizeof(Header) == 64);

}  // namespace

void appendEvent(std::string& to, const UsbEvent& event) {
    const Header header{
        .transfer = event.transfer,
        .kind = static_cast<std::uint8_t>(event.kind),
        .pipe = static_cast<std::uint8_t>(event.pipe),
        .endpoint = event.endpoint,
        .device = event.device,
        .bus = event.bus,
        .hasNoSetup = event.setup ? '\0' : '-',
        .hasNoData = !event.data.empty() ? '\0'
                     : event.isToHost()  ? '<'
                                         : '>',
        .seconds = event.time / microsecondsInASecond,
        .microseconds = static_cast<std::int32_t>(event.time % microsecondsInASecond),
        .status = event.status,
        .length = event.length,
        .dataLength = static_cast<std::uint32_t>(event.data.size()),
        .setup = event.setup.value_or(std::array<std::byte, 8>{}),
        .interval = 0,
        .startFrame = 0,
        .flags = 0,
        .descriptors = 0};
    to.append(reinterpret_cast<const char*>(&header), sizeof header);
    to.append(reinterpret_cast<const char*>(event.data.data()), event.data.size());
}

std::optional<UsbEvent> readEvent(std::span<const std::byte> recorded) {
    Header header;
    if (recorded.size() < sizeof header) return std::nullopt;
    std::memcpy(&header, recorded.data(), sizeof header);
    const std::span data = recorded.subspan(sizeof header);
    const auto kind = static_cast<UsbEvent::Kind>(header.kind);
    const bool isKnown = kind == UsbEvent::Kind::Submission || kind == UsbEvent::Kind::Completion ||
                         kind == UsbEvent::Kind::Failure;
    const auto pipe = static_cast<UsbEvent::Pipe>(header.pipe);
    // Isochronous events have further fields before their data, and still cameras have none.
    if (!isKnown || pipe > UsbEvent::Pipe::Bulk || pipe == UsbEvent::Pipe::Isochronous ||
        header.dataLength > data.size() || header.dataLength > header.length)
        return std::nullopt;
    UsbEvent event{.kind = kind,
                   .pipe = pipe,
                   .transfer = header.transfer,
                   .endpoint = header.endpoint,
                   .device = header.device,
                   .bus = header.bus,
                   .time = 0,
                   .status = header.status,
                   .length = header.length,
                   .setup = std::nullopt,
                   .data = data.first(header.dataLength)};
    // The event keeps the time 0 if the seconds are negative, or could overflow as microseconds.
    constexpr std::int64_t mostSeconds = std::int64_t{1} << 40;
    if (header.seconds >= 0 && header.seconds < mostSeconds)
        event.time = header.seconds * microsecondsInASecond + header.microseconds;
    if (header.hasNoSetup == 0) event.setup = header.setup;
    return event;
}

}  // namespace zlk::usbscan
