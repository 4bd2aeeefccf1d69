#pragma once
// FILETIME as one number: ticks of 100 ns since 1601-01-01 UTC.

#include <cstdint>

#include "platform/types.h"

namespace zlk::platform {

inline constexpr std::uint64_t ticksPerSecond = 10'000'000;
inline constexpr std::int64_t secondsFrom1601To1970 = 11'644'473'600;

constexpr std::uint64_t ticksOf(const FILETIME& time) noexcept {
    return std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime;
}

}  // namespace zlk::platform
