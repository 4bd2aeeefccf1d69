#pragma once
// Ticks, waiting, and the conversions of file times.

#include <cstdint>

#include "platform/types.h"

/// Broken-down time as the C library has it, under its own name so that no header of ours
/// depends on <ctime>.
struct BrokenDownTime {
    int second, minute, hour;
    int day;    ///< 1 to 31
    int month;  ///< 0 to 11
    int year;   ///< since 1900
};

#pragma GCC visibility push(default)

/// Milliseconds since the machine started, modulo 2^32, the same in every process.
DWORD GetTickCount() noexcept;
void Sleep(DWORD milliseconds) noexcept;

/// Puts a clock of the test's own behind GetTickCount and Sleep in this process, so that no test
/// waits; null for either keeps the real one. Not thread-safe: set it before the call under test.
struct TestClock {
    DWORD (*tickCount)() = nullptr;
    void (*sleep)(DWORD milliseconds) = nullptr;
};
void setTestClock(const TestClock& clock) noexcept;

void GetSystemTimeAsFileTime(FILETIME* now) noexcept;

/// Between file times and seconds since 1970-01-01 00:00 UTC with nanoseconds; a moment outside
/// of what a FILETIME holds gives 0.
FILETIME fileTimeFromUnix(std::int64_t seconds, std::uint32_t nanoseconds) noexcept;

/// Local wall-clock time as a file time. Differs from Windows: the offset is the one in force at
/// that moment and not today's, so that a picture taken in July doesn't move by an hour in
/// December. 0 with ERROR_INVALID_PARAMETER where the result can't be expressed.
BOOL FileTimeToLocalFileTime(const FILETIME* time, FILETIME* local) noexcept;

/// 0 with ERROR_INVALID_PARAMETER for a time with the top bit set.
BOOL FileTimeToSystemTime(const FILETIME* time, SYSTEMTIME* parts) noexcept;

/// Seconds since 1970 UTC of a local time; fields out of their range run over into the next larger
/// one. Of an hour that comes twice, when the clocks are put back, it is the second; one that is
/// left out counts on from before the change. -1 for a moment before 1970 or beyond the
/// year 3000.
std::int64_t _mktime64(const BrokenDownTime& local) noexcept;

/// Seconds since 1970 UTC.
std::int64_t _time64() noexcept;

/// The local time of a moment; false for one before 1970 or beyond the year 3000, with `local`
/// all -1.
bool _localtime64_s(BrokenDownTime& local, std::int64_t seconds) noexcept;

#pragma GCC visibility pop
