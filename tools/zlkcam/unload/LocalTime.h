#pragma once
// A moment as the clock on the wall shows it.

#include <compare>
#include <cstdint>
#include <optional>
#include <string_view>

#include "tools/zlkcam/Documents.h"

namespace zlk {

struct LocalTime {
    int year = 0;   ///< 2026
    int month = 0;  ///< 1 to 12
    int day = 0;    ///< 1 to 31
    int hour = 0, minute = 0, second = 0;
    // NOLINTNEXTLINE(modernize-use-nullptr): the compiler's own comparisons have a 0 in them
    auto operator<=>(const LocalTime&) const = default;
};

/// Whether there is such a day, and such a time of day.
bool exists(const LocalTime& time);

/// Whether a picture can be of that time. A camera whose clock was never set, or whose file system
/// has no date for it, says something else.
bool isPlausible(const LocalTime& time);

/// A text as in `2026:11:01 10:30:00`, whatever the separators are, at the start of `text`; none
/// where there is no such time.
std::optional<LocalTime> localTimeIn(std::string_view text);

/// The time in this machine's time zone; none for a moment that has none.
std::optional<LocalTime> localTimeOf(std::int64_t seconds);

/// When a file came to be, as the device's list has it: the earlier of its two times, since a
/// picture is changed after it was taken. None where the list says nothing plausible.
std::optional<LocalTime> listedDate(const FileRecord& file);

/// When a file was changed last, as the device's list has it, else when it was made. None where
/// the list says nothing plausible.
std::optional<LocalTime> changeDate(const FileRecord& file);

}  // namespace zlk
