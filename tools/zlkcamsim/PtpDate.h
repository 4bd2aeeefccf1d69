#pragma once

#include <ctime>
#include <optional>
#include <string>

namespace zlk::camsim {

/// `20060715T103000`, local time.
std::u16string ptpDate(std::time_t time);
/// Fractions of a second and zones behind it are passed over: cameras know neither.
std::optional<std::time_t> timeOfPtpDate(const std::u16string& date);

}  // namespace zlk::camsim
