#pragma once
// Reads and writes dates in the form of PTP, in this machine's local time.

#include <ctime>
#include <optional>
#include <string>

namespace zlk::camsim {

/// The form is `20060715T103000`, local time.
std::u16string ptpDate(std::time_t time);
/// Parses a date of this form at the start of a text; none if there is no date. What follows the
/// date, such as a time zone, is ignored.
std::optional<std::time_t> timeOfPtpDate(const std::u16string& date);

}  // namespace zlk::camsim
