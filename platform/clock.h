#pragma once
// The clock as callers of the platform see it: ticks, waiting, and conversions between file times,
// seconds since 1970 and local time. Every call may come from any thread, except setTestClock.

#include <cstdint>

#include "platform/types.h"

/// A broken-down time with the field values of the C library's `tm`.
struct BrokenDownTime {
    int second, minute, hour;
    int day;    ///< 1 to 31
    int month;  ///< 0 to 11
    int year;   ///< since 1900
};

#pragma GCC visibility push(default)

/// Milliseconds since the machine started, modulo 2^32, the same in every process.
DWORD GetTickCount() noexcept;
/// Waits at least this time, or for ever with INFINITE; signals don't shorten the wait. 0 gives up
/// the rest of this thread's time slice.
void Sleep(DWORD milliseconds) noexcept;

/// Functions that GetTickCount and Sleep of this process call instead of using the machine's clock,
/// so that tests needn't wait. Where a function is null, the machine's clock is used. Setting them
/// isn't thread-safe: a test sets them before the call that it tests.
struct TestClock {
    DWORD (*tickCount)() = nullptr;
    void (*sleep)(DWORD milliseconds) = nullptr;
};
void setTestClock(const TestClock& clock) noexcept;

/// The current time in UTC, by the machine's real-time clock.
void GetSystemTimeAsFileTime(FILETIME* now) noexcept;

/// The file time of a moment given in seconds since 1970-01-01 00:00 UTC and nanoseconds; 0 for a
/// moment that a FILETIME can't hold.
FILETIME fileTimeFromUnix(std::int64_t seconds, std::uint32_t nanoseconds) noexcept;

/// Gives local wall-clock time as a file time. This differs from Windows: the offset is the one in
/// force at `time` and not today's, so that a picture taken in July doesn't move by an hour in
/// December. Returns 0 with ERROR_INVALID_PARAMETER for a null pointer, or if the top bit is set in
/// `time` or would be set in the result.
BOOL FileTimeToLocalFileTime(const FILETIME* time, FILETIME* local) noexcept;

/// Splits a file time into its parts without changing its zone. Returns 0 with
/// ERROR_INVALID_PARAMETER for a null pointer or a time with the top bit set.
BOOL FileTimeToSystemTime(const FILETIME* time, SYSTEMTIME* parts) noexcept;

/// Gives the seconds since 1970 UTC of a local time; a field out of its range carries over into the
/// next larger one. When the clocks are put back, one hour comes twice, and a time in it means the
/// later moment. When they are put forward, one hour is skipped, and a time in it is read with the
/// offset from before the change. Returns -1 for a moment before 1970 or after the year 3000.
std::int64_t _mktime64(const BrokenDownTime& local) noexcept;

/// The current time in seconds since 1970 UTC.
std::int64_t _time64() noexcept;

/// Gives the local time of a moment in seconds since 1970 UTC. Returns false, with every field of
/// `local` at -1, for a moment before 1970 or after the year 3000.
bool _localtime64_s(BrokenDownTime& local, std::int64_t seconds) noexcept;

#pragma GCC visibility pop
