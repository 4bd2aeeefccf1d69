#include "tools/zlkcam/unload/LocalTime.h"

#include <algorithm>
#include <charconv>
#include <chrono>

#include "platform/clock.h"

namespace zlk {
namespace {

/// The local time of an entry in the device's list; none if the entry has no date, or an absurd
/// one.
std::optional<LocalTime> plausibleTime(const RecordTime& time) {
    if (time.isNoDate) return std::nullopt;
    const std::optional<LocalTime> local = localTimeOf(secondsOf(time.text));
    return local && isPlausible(*local) ? local : std::nullopt;
}

}  // namespace

bool exists(const LocalTime& time) {
    using namespace std::chrono;
    const auto isWithin = [](int value, int first, int last) {
        return first <= value && value <= last;
    };
    // The ranges are checked first, because the calendar types take unsigned numbers of few bits.
    if (!isWithin(time.month, 1, 12) || !isWithin(time.day, 1, 31)) return false;
    const year_month_day date(year(time.year), month(static_cast<unsigned>(time.month)),
                              day(static_cast<unsigned>(time.day)));
    return date.ok() && isWithin(time.hour, 0, 23) && isWithin(time.minute, 0, 59) &&
           isWithin(time.second, 0, 59);
}

bool isPlausible(const LocalTime& time) {
    return exists(time) && time.year >= 1990 && time.year <= 2100;
}

std::optional<LocalTime> localTimeIn(std::string_view text) {
    constexpr std::string_view form = "YYYY-MM-DD hh:mm:ss";
    if (text.size() < form.size()) return std::nullopt;
    bool isNumber = true;
    const auto number = [&](std::size_t start, std::size_t digits) {
        int value = 0;
        const char* const end = text.data() + start + digits;
        // from_chars would take a minus sign as a part of the number.
        isNumber &=
            text[start] != '-' && std::from_chars(text.data() + start, end, value).ptr == end;
        return value;
    };
    const LocalTime time{number(0, 4),  number(5, 2),  number(8, 2),
                         number(11, 2), number(14, 2), number(17, 2)};
    return isNumber && exists(time) ? std::optional(time) : std::nullopt;
}

std::optional<LocalTime> localTimeOf(std::int64_t seconds) {
    BrokenDownTime time{};
    if (!_localtime64_s(time, seconds)) return std::nullopt;
    return LocalTime{time.year + 1900, time.month + 1, time.day,
                     time.hour,        time.minute,    time.second};
}

std::optional<LocalTime> listedDate(const FileRecord& file) {
    const std::optional<LocalTime> modified = plausibleTime(file.modified);
    const std::optional<LocalTime> created = plausibleTime(file.created);
    if (modified && created) return std::min(*modified, *created);
    return modified ? modified : created;
}

std::optional<LocalTime> changeDate(const FileRecord& file) {
    const std::optional<LocalTime> modified = plausibleTime(file.modified);
    return modified ? modified : plausibleTime(file.created);
}

}  // namespace zlk
