#pragma once
// A line of a recording: a transfer that was submitted to a device, or its completion, as Linux's
// usbmon reports them (LINKTYPE_USB_LINUX_MMAPPED, https://www.tcpdump.org/linktypes.html).

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace zlk::usbscan {

inline constexpr std::uint16_t usbEventLinkType = 220;

struct UsbEvent {
    enum class Kind : std::uint8_t { Submission = 'S', Completion = 'C', Failure = 'E' };
    enum class Pipe : std::uint8_t { Isochronous, Interrupt, Control, Bulk };

    Kind kind = Kind::Submission;
    Pipe pipe = Pipe::Bulk;
    std::uint64_t transfer = 0;  ///< a submission and its completion have the same
    std::uint8_t endpoint = 0;   ///< with its bit 0x80 for the direction to the host
    std::uint8_t device = 1;
    std::uint16_t bus = 1;
    std::int64_t time = 0;     ///< microseconds since 1970
    std::int32_t status = 0;   ///< a negative errno; in progress (-115) in a submission
    std::uint32_t length = 0;  ///< asked for, or transferred
    std::optional<std::array<std::byte, 8>> setup;  ///< of a control request's submission
    /// What of the transfer's bytes is there: the beginning, or nothing of them.
    std::span<const std::byte> data;

    bool isToHost() const { return endpoint & 0x80; }
};

/// The event's bytes in a recording, behind the caller's.
void appendEvent(std::string& to, const UsbEvent& event);
/// Its `data` are the recorded bytes'. None if those are no event, or lie about their lengths.
std::optional<UsbEvent> readEvent(std::span<const std::byte> recorded);

}  // namespace zlk::usbscan
