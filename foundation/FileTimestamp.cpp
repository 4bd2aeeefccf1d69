#include "foundation/FileTimestamp.h"

#include <algorithm>

#include "foundation/Paths.h"
#include "foundation/Xml.h"
#include "platform/clock.h"
#include "platform/text.h"

namespace zlk {
namespace {

/// The number in the `count` characters from `start` on, clamped to the range.
int field(const std::u16string& text, std::size_t start, std::size_t count, int low, int high) {
    const int number = start < text.size() ? _wtoi(text.substr(start, count).c_str()) : 0;
    return std::clamp(number, low, high);
}

}  // namespace

std::u16string FileTimestamp::toText() const {
    BrokenDownTime local;
    if (!_localtime64_s(local, seconds_)) return u"00/00/0000 -1:-1:-1";
    return formatText(u"%02d/%02d/%04d %02d:%02d:%02d", local.month + 1, local.day,
                      local.year + 1900, local.hour, local.minute, local.second);
}

void FileTimestamp::fromText(const std::u16string& text) {
    const std::u16string whole = trimmed(text);
    const std::size_t blank = whole.find(u' ');
    std::u16string date;
    std::u16string timeOfDay = whole;
    if (blank != std::u16string::npos) {
        date = trimmed(whole.substr(0, blank));
        timeOfDay = trimmed(whole.substr(blank));
    }
    BrokenDownTime local{};
    local.month = field(date, 0, 2, 1, 12) - 1;
    local.day = field(date, 3, 2, 1, 31);
    local.year = field(date, 6, 4, 1971, 2999) - 1900;
    local.hour = field(timeOfDay, 0, 2, 0, 23);
    local.minute = field(timeOfDay, 3, 2, 0, 59);
    local.second = field(timeOfDay, 6, 2, 0, 59);
    seconds_ = _mktime64(local);
}

std::u16string FileTimestamp::toXml(const std::u16string& name) const {
    XmlDocument document;
    return document.addElement(u"/", name, toText()) ? document.xml() : std::u16string();
}

void FileTimestamp::fromXml(const std::u16string& xml, const std::u16string& name) {
    seconds_ = 0;
    XmlDocument document;
    std::u16string text;
    if (document.load(xml) && document.value(name, text)) fromText(text);
}

}  // namespace zlk
