#include "platform/clock.h"

#include <sched.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <ctime>
#include <limits>

#include "platform/base/FileTimes.h"
#include "platform/error.h"

using namespace zlk::platform;

namespace {

constexpr std::int64_t secondsPerDay = 86'400;
// The end of the year 3000, UTC.
constexpr std::int64_t lastSecond = 32'535'215'999;

constinit TestClock testClock;

FILETIME fileTimeOf(std::uint64_t ticks) {
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

std::int64_t unixSeconds(std::uint64_t ticks) {
    return static_cast<std::int64_t>(ticks / ticksPerSecond) - secondsFrom1601To1970;
}

BOOL refuse() {
    SetLastError(ERROR_INVALID_PARAMETER);
    return 0;
}

/// Gives the local time of a moment; false if it can't be expressed. The machine's time zone may
/// change while a process runs, when a user travels. tzset(), which notices that, may take system
/// calls and so isn't called for each entry of a folder listing; once a second is enough.
bool localParts(std::time_t moment, std::tm& parts) {
    static std::atomic<std::time_t> lastLook{-1};
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    if (lastLook.exchange(now.tv_sec, std::memory_order_relaxed) != now.tv_sec) tzset();
    return localtime_r(&moment, &parts);
}

// Local time minus UTC, in seconds, at a moment.
std::int64_t utcOffset(std::time_t moment) {
    std::tm parts{};
    return localParts(moment, parts) ? parts.tm_gmtoff : 0;
}

}  // namespace

void setTestClock(const TestClock& clock) noexcept {
    testClock = clock;
}

DWORD GetTickCount() noexcept {
    if (testClock.tickCount) return testClock.tickCount();
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return static_cast<DWORD>(static_cast<std::uint64_t>(now.tv_sec) * 1000 +
                              static_cast<std::uint64_t>(now.tv_nsec) / 1'000'000);
}

void Sleep(DWORD milliseconds) noexcept {
    if (testClock.sleep) {
        testClock.sleep(milliseconds);
        return;
    }
    if (milliseconds == 0) {
        sched_yield();
        return;
    }
    while (milliseconds == INFINITE) ::pause();
    timespec end{};
    clock_gettime(CLOCK_MONOTONIC, &end);
    end.tv_sec += milliseconds / 1000;
    end.tv_nsec += static_cast<long>(milliseconds % 1000) * 1'000'000;
    if (end.tv_nsec >= 1'000'000'000) {
        end.tv_nsec -= 1'000'000'000;
        ++end.tv_sec;
    }
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) {
    }
}

void GetSystemTimeAsFileTime(FILETIME* now) noexcept {
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    *now = fileTimeFromUnix(time.tv_sec, static_cast<std::uint32_t>(time.tv_nsec));
}

FILETIME fileTimeFromUnix(std::int64_t seconds, std::uint32_t nanoseconds) noexcept {
    if (seconds < -secondsFrom1601To1970) return {};
    const std::uint64_t since1601 =
        static_cast<std::uint64_t>(seconds) + static_cast<std::uint64_t>(secondsFrom1601To1970);
    const std::uint64_t fraction = nanoseconds / 100;
    if (since1601 > (std::numeric_limits<std::uint64_t>::max() - fraction) / ticksPerSecond)
        return {};
    return fileTimeOf(since1601 * ticksPerSecond + fraction);
}

BOOL FileTimeToLocalFileTime(const FILETIME* time, FILETIME* local) noexcept {
    if (!time || !local) return refuse();
    const std::uint64_t ticks = ticksOf(*time);
    const std::time_t moment = unixSeconds(ticks);
    std::tm parts{};
    if (ticks >> 63 || !localParts(moment, parts)) return refuse();
    // In unsigned arithmetic an overflow at either end of the range sets the top bit.
    const std::uint64_t shifted =
        ticks + static_cast<std::uint64_t>(std::int64_t{parts.tm_gmtoff}) * ticksPerSecond;
    if (shifted >> 63) return refuse();
    *local = fileTimeOf(shifted);
    return 1;
}

BOOL FileTimeToSystemTime(const FILETIME* time, SYSTEMTIME* parts) noexcept {
    if (!time || !parts) return refuse();
    const std::uint64_t ticks = ticksOf(*time);
    const std::time_t moment = unixSeconds(ticks);
    std::tm utc{};
    if (ticks >> 63 || !gmtime_r(&moment, &utc)) return refuse();
    *parts = {
        static_cast<WORD>(utc.tm_year + 1900), static_cast<WORD>(utc.tm_mon + 1),
        static_cast<WORD>(utc.tm_wday),        static_cast<WORD>(utc.tm_mday),
        static_cast<WORD>(utc.tm_hour),        static_cast<WORD>(utc.tm_min),
        static_cast<WORD>(utc.tm_sec),         static_cast<WORD>(ticks % ticksPerSecond / 10'000)};
    return 1;
}

std::int64_t _mktime64(const BrokenDownTime& local) noexcept {
    std::tm parts{};
    parts.tm_sec = local.second;
    parts.tm_min = local.minute;
    parts.tm_hour = local.hour;
    parts.tm_mday = local.day;
    parts.tm_mon = local.month;
    parts.tm_year = local.year;
    errno = 0;
    const std::int64_t asUtc = timegm(&parts);
    if (errno == EOVERFLOW) return -1;
    // The offsets a day before and a day after the moment differ if the clocks change in between.
    // The later offset is tried first, and kept if it is in force at the moment that it gives.
    // Otherwise the moment is before the change, or in the hour that the change skips.
    const std::int64_t before = utcOffset(asUtc - secondsPerDay);
    const std::int64_t after = utcOffset(asUtc + secondsPerDay);
    std::int64_t moment = asUtc - after;
    if (before != after && utcOffset(moment) != after) moment = asUtc - before;
    return moment < 0 || moment > lastSecond ? -1 : moment;
}

std::int64_t _time64() noexcept {
    return std::time(nullptr);
}

bool _localtime64_s(BrokenDownTime& local, std::int64_t seconds) noexcept {
    std::tm parts{};
    const std::time_t moment = seconds;
    if (seconds < 0 || seconds > lastSecond || !localParts(moment, parts)) {
        local = {-1, -1, -1, -1, -1, -1};
        return false;
    }
    local = {parts.tm_sec, parts.tm_min, parts.tm_hour, parts.tm_mday, parts.tm_mon, parts.tm_year};
    return true;
}
