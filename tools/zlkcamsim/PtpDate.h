#pragma once
// Reads and writes dates in the form of PTP, in the local time of the camera.

#include <ctime>
#include <optional>
#include <string>

namespace zlk::camsim {

/// As in `20060715T103000`, local time.
std::u16string ptpDate(std::time_t time);
/// Parses such a date; none if it isn't one. What follows it is ignored: it may be fractions of a
/// second and a time zone, and cameras know neither.
std::optional<std::time_t> timeOfPtpDate(const std::u16string& date);

}  // namespace zlk::camsim
