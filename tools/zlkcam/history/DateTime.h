#pragma once
// Moments as the documents of a history write them.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zlk {

/// "2026-07-15T08:30:00+00:00"; empty for a year that doesn't have four digits.
std::string dateTimeText(std::int64_t seconds);

/// "2026-07-15_083000Z", which names of files have; that of 1970 for such a year.
std::string nameTimeText(std::int64_t seconds);
inline constexpr std::size_t nameTimeSize = 18;
/// Whether a text is one of these.
bool isNameTime(std::string_view text);

/// Seconds since 1970 UTC, their fractions cut off; none for a text that isn't such a moment, or
/// doesn't say in which time zone.
std::optional<std::int64_t> parseDateTime(std::string_view text);

}  // namespace zlk
