#pragma once
// Reads and writes points in time in the forms that manifests and file names have.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zlk {

/// The form is "2026-07-15T08:30:00+00:00"; empty for a year that doesn't have four digits.
/// `seconds` counts from 1970 UTC.
std::string dateTimeText(std::int64_t seconds);

/// The form is "2026-07-15_083000Z", for names of files. The start of 1970 stands for a time in a
/// year that doesn't have four digits.
std::string nameTimeText(std::int64_t seconds);
inline constexpr std::size_t nameTimeSize = 18;
/// Whether a text has the form of nameTimeText; its digits needn't make a date that exists.
bool isNameTime(std::string_view text);

/// Seconds since 1970 UTC, without fractions; none for a text that isn't a date and time with a
/// time zone.
std::optional<std::int64_t> parseDateTime(std::string_view text);

}  // namespace zlk
