#pragma once
// A packet of a recording: the submission of a transfer to a device, its completion or its failure,
// in the format in which Linux's usbmon reports them (LINKTYPE_USB_LINUX_MMAPPED,
// https://www.tcpdump.org/linktypes.html).

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace zlk::usbscan {

inline constexpr std::uint16_t usbEventLinkType = 220;

struct UsbEvent {
    /// The values are those of the format.
    enum class Kind : std::uint8_t { Submission = 'S', Completion = 'C', Failure = 'E' };
    enum class Pipe : std::uint8_t { Isochronous, Interrupt, Control, Bulk };

    Kind kind = Kind::Submission;
    Pipe pipe = Pipe::Bulk;
    std::uint64_t transfer = 0;  ///< a submission and its completion have the same number
    std::uint8_t endpoint = 0;   ///< address, with bit 0x80 for the direction to the host
    std::uint8_t device = 1;
    std::uint16_t bus = 1;
    std::int64_t time = 0;     ///< microseconds since 1970
    std::int32_t status = 0;   ///< 0 or a negative errno; -115 (in progress) in a submission
    std::uint32_t length = 0;  ///< bytes that were asked for, or transferred
    std::optional<std::array<std::byte, 8>> setup;  ///< of a control request's submission
    /// The beginning of the transfer's bytes, as far as it is recorded. Borrowed.
    std::span<const std::byte> data;

    bool isToHost() const { return endpoint & 0x80; }
};

void appendEvent(std::string& to, const UsbEvent& event);
/// Reads an event; its `data` points into `recorded`. None if the bytes are no event that a
/// still-image device has, or if the event's lengths contradict each other or the bytes.
std::optional<UsbEvent> readEvent(std::span<const std::byte> recorded);

}  // namespace zlk::usbscan
