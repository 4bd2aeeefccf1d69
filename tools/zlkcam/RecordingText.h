#pragma once
// A recording in words, a line for each transfer.

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "usbscan/recording/UsbEvent.h"

namespace zlk {

struct RecordingLine {
    std::int64_t time = 0;      ///< microseconds since the first one
    std::uint8_t endpoint = 0;  ///< with its bit 0x80 for the direction to the host
    std::uint32_t length = 0;   ///< bytes transferred
    std::string text;
};

class RecordingText {
  public:
    /// None for what says nothing by itself: the request for something that comes later.
    std::optional<RecordingLine> lineOf(const usbscan::UsbEvent& event);

  private:
    using Setup = std::array<std::byte, 8>;
    std::string requestText(const usbscan::UsbEvent& event, const Setup& setup) const;
    std::string bytesText(const usbscan::UsbEvent& event);

    std::optional<std::int64_t> start_;
    std::map<std::uint64_t, Setup> requests_;              // that aren't answered
    std::map<std::uint8_t, std::uint64_t> containerLeft_;  // by endpoint
};

}  // namespace zlk
