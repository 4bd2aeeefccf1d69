#pragma once
// Puts a recording of USB transfers into words, line by line.

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "usbscan/recording/UsbEvent.h"

namespace zlk {

/// One event of a transfer in words.
struct RecordingLine {
    std::int64_t time = 0;      ///< microseconds since the first event
    std::uint8_t endpoint = 0;  ///< bit 0x80 is set for the direction to the host
    std::uint32_t length = 0;   ///< in bytes
    std::string text;
};

/// Makes the lines of one recording. Needs its events in their order, since the line of an event
/// may depend on earlier events. Used by one thread.
class RecordingText {
  public:
    /// The line for an event. Each transfer has two events, its submission and its completion. One
    /// of them carries the data and gets a line. The other one gets none, unless it reports a
    /// failure.
    std::optional<RecordingLine> lineOf(const usbscan::UsbEvent& event);

  private:
    // The setup packet of a control transfer.
    using Setup = std::array<std::byte, 8>;
    std::string requestText(const usbscan::UsbEvent& event, const Setup& setup) const;
    std::string bytesText(const usbscan::UsbEvent& event);

    std::optional<std::int64_t> start_;
    // The setup packets of control transfers that aren't complete yet, by UsbEvent::transfer.
    std::map<std::uint64_t, Setup> requests_;
    // Bytes of a PTP container that are still to come, by endpoint.
    std::map<std::uint8_t, std::uint64_t> containerLeft_;
};

}  // namespace zlk
