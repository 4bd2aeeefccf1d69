#include "siblings/events/EventLine.h"

#include "platform/text.h"

namespace zlk {
namespace {

// Texts may come from a device's document and be of any length, but a datagram to the system's log
// is limited.
constexpr std::size_t maxUnits = 2000;

/// Control characters below 0x20 and from 0x7F to 0x9F, and the two separators at which some
/// programs break lines.
bool isControl(WCHAR unit) {
    return unit < 0x20 || (unit >= 0x7F && unit < 0xA0) || unit == 0x2028 || unit == 0x2029;
}

}  // namespace

std::string eventLine(LONG eventId, LONG level, std::u16string_view text) {
    std::u16string line = formatText(u"event %d, level %d", eventId, level);
    if (!text.empty()) line += u": ";
    const bool cut = text.size() > maxUnits;
    for (const WCHAR unit : text.substr(0, maxUnits)) {
        if (unit == u'\\') {
            line += u"\\\\";
        } else if (unit == u'\n') {
            line += u"\\n";
        } else if (isControl(unit)) {
            line += formatText(u"\\u%04X", unit);
        } else {
            line += unit;
        }
    }
    if (cut) line += u"...";
    return utf8Text(line);
}

}  // namespace zlk
