#include "tools/zlkcam/RecordingText.h"

#include <algorithm>
#include <cstdio>

#include "usbscan/recording/ContainerText.h"

namespace zlk {

using usbscan::UsbEvent;

std::string RecordingText::requestText(const UsbEvent& event, const Setup& setup) const {
    std::string text = usbscan::classRequestText(setup, event.data);
    // A request without a known name is shown by the bytes of its setup packet: type, request, and
    // value, which is little-endian.
    if (!text.empty()) return text;
    std::array<char, 32> request{};
    std::snprintf(request.data(), request.size(), "Request %02x %02x, value %02x%02x",
                  std::to_integer<unsigned>(setup[0]), std::to_integer<unsigned>(setup[1]),
                  std::to_integer<unsigned>(setup[3]), std::to_integer<unsigned>(setup[2]));
    return request.data();
}

std::string RecordingText::bytesText(const UsbEvent& event) {
    // A zero-length packet ends a transfer whose length is a multiple of the packet size.
    if (event.length == 0) return "A packet of no bytes";
    std::uint64_t& left = containerLeft_[event.endpoint];
    constexpr std::size_t headSize = 12;
    if (left > 0 || event.data.size() < headSize) {
        left -= std::min<std::uint64_t>(left, event.length);
        return "More of it";
    }
    std::uint32_t length = 0;
    for (std::size_t i = 0; i < sizeof length; ++i)
        length |= std::to_integer<std::uint32_t>(event.data[i]) << (8 * i);
    left = length - std::min(length, event.length);
    return usbscan::containerText(event.data);
}

/// Data to the device stands in the submission of a transfer, data to the host in its completion.
std::optional<RecordingLine> RecordingText::lineOf(const UsbEvent& event) {
    constexpr std::size_t mostRequests = 128;
    if (!start_) start_ = event.time;
    const bool isSubmission = event.kind == UsbEvent::Kind::Submission;
    Setup setup{};
    if (isSubmission && event.setup) {
        setup = *event.setup;
        // In a recording that was cut, some requests never complete. They must not fill the memory.
        if (requests_.size() >= mostRequests) requests_.clear();
        requests_[event.transfer] = setup;
    } else if (const auto asked = requests_.extract(event.transfer)) {
        setup = asked.mapped();
    }
    RecordingLine line{event.time - *start_, event.endpoint, event.length, {}};
    if (!isSubmission && event.status != 0)
        line.text = "Failed, error " + std::to_string(-std::int64_t{event.status});
    else if (isSubmission == event.isToHost())
        // The data stands in the transfer's other event.
        return std::nullopt;
    else if (event.pipe == UsbEvent::Pipe::Control)
        line.text = requestText(event, setup);
    else
        line.text = bytesText(event);
    return line;
}

}  // namespace zlk
