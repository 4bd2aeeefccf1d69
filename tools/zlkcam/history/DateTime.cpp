#include "tools/zlkcam/history/DateTime.h"

#include <array>
#include <chrono>
#include <cstdio>

namespace zlk {
namespace {

using namespace std::chrono;

/// Whether `text` has this form, where a `0` stands for any digit.
bool hasForm(std::string_view text, std::string_view form) {
    if (text.size() != form.size()) return false;
    for (std::size_t i = 0; i < form.size(); ++i)
        if (form[i] == '0' ? text[i] < '0' || text[i] > '9' : text[i] != form[i]) return false;
    return true;
}

int number(std::string_view digits) {
    int value = 0;
    for (const char digit : digits) value = 10 * value + (digit - '0');
    return value;
}

/// Fills year, month, day, hours, minutes and seconds, in UTC, into a format of printf.
std::string formatted(const char* format, std::int64_t moment) {
    const sys_seconds time{seconds(moment)};
    const auto day = floor<days>(time);
    const year_month_day date(day);
    const hh_mm_ss clock(time - day);
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), format, static_cast<int>(date.year()),
                  static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                  static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()),
                  static_cast<int>(clock.seconds().count()));
    return text.data();
}

// The starts of the years 1000 and 10000. Only the years in between have the four digits that
// readers expect.
constexpr std::int64_t firstMoment =
    sys_seconds(sys_days(year(1000) / 1 / 1)).time_since_epoch() / 1s;
constexpr std::int64_t endOfMoments =
    sys_seconds(sys_days(year(10000) / 1 / 1)).time_since_epoch() / 1s;

bool hasFourDigits(std::int64_t moment) {
    return moment >= firstMoment && moment < endOfMoments;
}

/// Minutes by which a time zone is ahead of UTC; none if the text doesn't have the form of a
/// zone.
std::optional<int> parseZone(std::string_view text) {
    if (text == "Z") return 0;
    if (!hasForm(text, "+00:00") && !hasForm(text, "-00:00")) return std::nullopt;
    const int minutes = 60 * number(text.substr(1, 2)) + number(text.substr(4, 2));
    return text.front() == '-' ? -minutes : minutes;
}

}  // namespace

std::string dateTimeText(std::int64_t seconds) {
    if (!hasFourDigits(seconds)) return {};
    return formatted("%04d-%02u-%02uT%02d:%02d:%02d+00:00", seconds);
}

std::string nameTimeText(std::int64_t seconds) {
    return formatted("%04d-%02u-%02u_%02d%02d%02dZ", hasFourDigits(seconds) ? seconds : 0);
}

bool isNameTime(std::string_view text) {
    return hasForm(text, "0000-00-00_000000Z");
}

std::optional<std::int64_t> parseDateTime(std::string_view text) {
    constexpr std::string_view form = "0000-00-00T00:00:00";
    if (!hasForm(text.substr(0, form.size()), form)) return std::nullopt;
    const auto field = [&](std::size_t at) {
        return static_cast<unsigned>(number(text.substr(at, 2)));
    };
    const year_month_day date(year(number(text.substr(0, 4))), month(field(5)), day(field(8)));
    // Hour 24 is midnight at the end of a day, and second 60 a leap second; both are legal, and the
    // addition below carries them over.
    if (!date.ok() || field(11) > 24 || field(14) > 59 || field(17) > 60) return std::nullopt;
    std::string_view zone = text.substr(form.size());
    if (zone.starts_with('.')) {
        zone.remove_prefix(1);
        zone.remove_prefix(std::min(zone.find_first_not_of("0123456789"), zone.size()));
    }
    const std::optional<int> ahead = parseZone(zone);
    if (!ahead) return std::nullopt;
    const sys_seconds moment = sys_days(date) + hours(field(11)) +
                               minutes(static_cast<int>(field(14)) - *ahead) + seconds(field(17));
    return moment.time_since_epoch().count();
}

}  // namespace zlk
