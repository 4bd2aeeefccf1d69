#include "platform/clock.h"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <climits>
#include <ctime>
#include <tuple>

#include "tests/support/TestMachine.h"

bool operator==(const FILETIME& a, const FILETIME& b) {
    return a.dwLowDateTime == b.dwLowDateTime && a.dwHighDateTime == b.dwHighDateTime;
}

namespace zlk::test {
namespace {

/// The time zone of one test; the rules are spelled out, so that no zone file is needed.
class TimeZone {
  public:
    explicit TimeZone(const char* rules) {
        setenv("TZ", rules, 1);
        tzset();
    }
    ~TimeZone() {
        unsetenv("TZ");
        tzset();
    }
};
constexpr char central[] = "CET-1CEST,M3.5.0,M10.5.0/3";

constexpr std::int64_t july = 1'689'422'400;      // 2023-07-15 12:00:00 UTC
constexpr std::int64_t december = 1'702'641'600;  // 2023-12-15 12:00:00 UTC

FILETIME fileTime(std::uint64_t ticks) {
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

auto partsOf(const FILETIME& time) {
    SYSTEMTIME parts{};
    EXPECT_TRUE(FileTimeToSystemTime(&time, &parts));
    return std::tuple(int{parts.wYear}, int{parts.wMonth}, int{parts.wDay}, int{parts.wDayOfWeek},
                      int{parts.wHour}, int{parts.wMinute}, int{parts.wSecond},
                      int{parts.wMilliseconds});
}

TEST(Clock, BreaksFileTimesDown) {
    EXPECT_EQ(partsOf(fileTime(0)), std::tuple(1601, 1, 1, 1, 0, 0, 0, 0));
    EXPECT_EQ(fileTimeFromUnix(0, 0), fileTime(116'444'736'000'000'000));
    EXPECT_EQ(partsOf(fileTimeFromUnix(july, 987'654'321)),
              std::tuple(2023, 7, 15, 6, 12, 0, 0, 987));
    EXPECT_EQ(partsOf(fileTimeFromUnix(-1, 0)), std::tuple(1969, 12, 31, 3, 23, 59, 59, 0));
    EXPECT_EQ(partsOf(fileTimeFromUnix(951'782'400, 0)), std::tuple(2000, 2, 29, 2, 0, 0, 0, 0));

    const FILETIME beyond = fileTime(std::uint64_t{1} << 63);
    SYSTEMTIME parts;
    EXPECT_EQ(errorOf(FileTimeToSystemTime(&beyond, &parts)), ERROR_INVALID_PARAMETER);

    EXPECT_EQ(fileTimeFromUnix(-11'644'473'600, 100), fileTime(1));
    EXPECT_EQ(fileTimeFromUnix(1'833'029'933'770, 955'161'500), fileTime(UINT64_MAX));
    for (const std::int64_t seconds : {std::int64_t{-11'644'473'601}, std::int64_t{INT64_MIN},
                                       std::int64_t{1'833'029'933'771}, std::int64_t{INT64_MAX}})
        EXPECT_EQ(fileTimeFromUnix(seconds, 999'999'999), fileTime(0)) << seconds;
}

TEST(Clock, ShiftsToLocalTimeByTheOffsetOfThatMoment) {
    const TimeZone zone(central);
    FILETIME local;
    const auto toLocal = [&](FILETIME moment) { return FileTimeToLocalFileTime(&moment, &local); };
    ASSERT_TRUE(toLocal(fileTimeFromUnix(july, 500'000'000)));
    EXPECT_EQ(local, fileTimeFromUnix(july + 7200, 500'000'000));
    ASSERT_TRUE(toLocal(fileTimeFromUnix(december, 0)));
    EXPECT_EQ(local, fileTimeFromUnix(december + 3600, 0));

    const TimeZone west("XYZ8");
    EXPECT_EQ(errorOf(toLocal(fileTime(0))), ERROR_INVALID_PARAMETER) << "before 1601";
    EXPECT_TRUE(toLocal(fileTime(INT64_MAX)));
    const TimeZone east("XYZ-8");
    EXPECT_FALSE(toLocal(fileTime(INT64_MAX))) << "beyond the end";
}

TEST(Clock, ConvertsLocalTimes) {
    const TimeZone zone(central);
    EXPECT_EQ(_mktime64({60, 59, 36, 14, 6, 123}), july - 7200 + 3600);  // runs over
    EXPECT_EQ(_mktime64({0, 0, 13, 15, 11, 123}), december);
    EXPECT_EQ(_mktime64({0, 30, 2, 29, 9, 123}), 1'698'543'000);  // 01:30 UTC, and 00:30
    EXPECT_EQ(_mktime64({0, 30, 2, 26, 2, 123}), 1'679'794'200);  // there was no 02:30
    EXPECT_EQ(_mktime64({0, 0, 0, 1, 0, 70}), -1);                // 1969, in UTC
    EXPECT_EQ(_mktime64({0, 0, 0, 2, 0, 1101}), -1);
    EXPECT_EQ(_mktime64({INT_MAX, INT_MAX, INT_MAX, INT_MAX, INT_MAX, INT_MAX}), -1);

    BrokenDownTime parts{};
    ASSERT_TRUE(_localtime64_s(parts, july));
    EXPECT_EQ(parts.hour, 14);
    EXPECT_EQ(_mktime64(parts), july);
    EXPECT_FALSE(_localtime64_s(parts, 32'535'216'000));
    EXPECT_EQ(parts.year, -1);
}

TEST(Clock, TicksAndSleepsByTheTestsClockAndElseByTheSystems) {
    static DWORD now;
    now = 0xFFFFFFF0;
    setTestClock({[] { return now; }, [](DWORD milliseconds) { now += milliseconds; }});
    const DWORD start = GetTickCount();
    Sleep(0x20);
    EXPECT_EQ(GetTickCount() - start, 0x20u);
    setTestClock({});
    const DWORD before = GetTickCount();
    Sleep(2);
    EXPECT_GE(GetTickCount() - before, 1u);
    EXPECT_NE(GetTickCount(), now);

    const std::int64_t unixTime = std::time(nullptr);
    FILETIME time;
    GetSystemTimeAsFileTime(&time);
    EXPECT_GE(time.dwHighDateTime, fileTimeFromUnix(unixTime, 0).dwHighDateTime);
    EXPECT_LE(time.dwHighDateTime, fileTimeFromUnix(unixTime + 60, 0).dwHighDateTime);
    EXPECT_GE(_time64(), unixTime);
}

}  // namespace
}  // namespace zlk::test
