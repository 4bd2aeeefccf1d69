#pragma once
// Reads and writes dates in the form of PTP, in the local time of the camera.

#include <ctime>
#include <optional>
#include <string>

namespace zlk::camsim {

/// As in `20060715T103000`, local time.
std::u16string ptpDate(std::time_t time);
/// Parses such a date; none if it isn't one. Fractions of a second and a time zone may follow and
/// are ignored, because cameras know neither.
std::optional<std::time_t> timeOfPtpDate(const std::u16string& date);

}  // namespace zlk::camsim
