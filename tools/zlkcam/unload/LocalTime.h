#pragma once
// A date and time of day without a time zone, as a wall clock shows it, and where to get one from.

#include <compare>
#include <cstdint>
#include <optional>
#include <string_view>

#include "tools/zlkcam/Documents.h"

namespace zlk {

/// A date and time as a wall clock shows it. Until it is set, all parts are zero, which `exists`
/// rejects.
struct LocalTime {
    int year = 0;   ///< 2026
    int month = 0;  ///< 1 to 12
    int day = 0;    ///< 1 to 31
    int hour = 0, minute = 0, second = 0;
    // NOLINTNEXTLINE(modernize-use-nullptr): the compiler's own comparisons have a 0 in them
    auto operator<=>(const LocalTime&) const = default;
};

/// Whether the day and the time of day exist.
bool exists(const LocalTime& time);

/// Whether a picture can have been taken at that time (1990 to 2100). A camera whose clock was
/// never set, or a file system without dates, may give a time outside of these years.
bool isPlausible(const LocalTime& time);

/// Parses the start of `text`, as in `2026:11:01 10:30:00`, where any characters may separate the
/// numbers. None if that is no time that exists.
std::optional<LocalTime> localTimeIn(std::string_view text);

/// Converts seconds since 1970 UTC to this machine's time zone; none if they are out of range.
std::optional<LocalTime> localTimeOf(std::int64_t seconds);

/// When a picture was taken, by the device's list: the earlier of the file's plausible times, since
/// a picture may be edited after it was taken. None if no time is plausible.
std::optional<LocalTime> listedDate(const FileRecord& file);

/// When a file was last changed, by the device's list. If the list has no plausible time for that,
/// this is when the file was created. None if that time isn't plausible either.
std::optional<LocalTime> changeDate(const FileRecord& file);

}  // namespace zlk
