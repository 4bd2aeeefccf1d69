// Ports of cameras. No camera transport is built in yet, so this is the one place that answers "on
// no port" to every question; all callers already go on from that answer to the volumes.

#include "directory/CDeviceUtilFunctions.h"
#include "foundation/TraceLine.h"

namespace zlk {
namespace {

constexpr char category[] = "CDeviceUtilFunctions";

/// The number of four hexadecimal digits behind `key`; 0 without them.
std::uint16_t hexBehind(const std::u16string& text, std::u16string_view key) {
    const std::u16string upper = upperCase(text);
    const std::size_t place = upper.find(key);
    if (place == std::u16string::npos) return 0;
    const std::u16string digits = upper.substr(place + key.size(), 4);
    unsigned number = 0;
    for (const WCHAR digit : digits) {
        if (digit >= u'0' && digit <= u'9') {
            number = number * 16 + (digit - u'0');
        } else if (digit >= u'A' && digit <= u'F') {
            number = number * 16 + (digit - u'A' + 10);
        } else {
            return 0;
        }
    }
    return digits.size() == 4 ? static_cast<std::uint16_t>(number) : 0;
}

}  // namespace

std::uint16_t CDeviceUtilFunctions::VidFromDeviceId(const std::u16string& text) {
    return hexBehind(text, u"VID_");
}

std::uint16_t CDeviceUtilFunctions::PidFromDeviceId(const std::u16string& text) {
    return hexBehind(text, u"&PID_");
}

std::u16string CDeviceUtilFunctions::findCameraPort(std::uint16_t, std::uint16_t, bool) {
    return {};
}

std::u16string CDeviceUtilFunctions::ContextIdToCameraPort(const std::u16string& id) {
    TraceLine(category, "ContextIdToCameraPort (%s)", id);
    return {};
}

std::u16string CDeviceUtilFunctions::MapContextId(const std::u16string& id) {
    TraceLine(category, "MapContextId");
    return id;
}

void CDeviceUtilFunctions::AddCamerasToContextManager() {
    TraceLine(category, "AddCamerasToContextManager");
}

}  // namespace zlk
