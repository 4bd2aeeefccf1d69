#include "foundation/FileTimestamp.h"

#include <gtest/gtest.h>
#include <time.h>

#include "platform/types.h"
#include "tests/support/Modules.h"

namespace zlk::test {
namespace {

struct FileTimestampTest : testing::Test {
    FileTimestampTest() {
        ::setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
        ::tzset();
    }
};

TEST_F(FileTimestampTest, ReadsEveryTextAsSomeMoment) {
    struct Case {
        const WCHAR *text, *moment;
    };
    for (const Case& c : {
             Case{u"07/14/2006 09:05:03", u"07/14/2006 09:05:03"},
             Case{u"  07/14/2006   09:05:03\n", u"07/14/2006 09:05:03"},
             Case{u"07-14-2006 09.05.03", u"07/14/2006 09:05:03"},
             Case{u"02/30/2006 12:00:00", u"03/02/2006 12:00:00"},
             Case{u"13/40/1900 25:61:61", u"12/31/1971 23:59:59"},
             Case{u"", u"01/01/1971 00:00:00"},
             Case{u"10:20:30", u"01/01/1971 10:20:30"},
             Case{u"soon and often", u"01/01/1971 00:00:00"},
             Case{u"1", u"01/01/1971 01:00:00"},
             Case{u"12/31/2999 22:00:00", u"12/31/2999 22:00:00"},
         }) {
        FileTimestamp time;
        time.fromText(c.text);
        EXPECT_EQ(time.toText(), c.moment);
    }
}

TEST_F(FileTimestampTest, CountsInUtcAndShowsLocalTime) {
    EXPECT_EQ(FileTimestamp(0).toText(), u"01/01/1970 01:00:00");
    EXPECT_EQ(FileTimestamp(1152860703).toText(), u"07/14/2006 09:05:03");  // in summer
    FileTimestamp time;
    time.fromText(u"12/24/2006 18:00:00");
    EXPECT_EQ(time.seconds(), 1166979600);
    for (const std::int64_t never : {std::int64_t{-1}, INT64_MAX, INT64_MIN})
        EXPECT_EQ(FileTimestamp(never).toText(), u"00/00/0000 -1:-1:-1");
}

TEST_F(FileTimestampTest, TravelsInADocument) {
    registerModules();
    const std::u16string document = FileTimestamp(1152860703).toXml(u"time");
    EXPECT_EQ(document, u"<time>07/14/2006 09:05:03</time>");
    EXPECT_EQ(FileTimestamp(0).toXml(u"no name"), u"");
    for (const auto& [text, seconds] :
         {std::pair{document, 1152860703}, {u"<time />", 31532400}, {u"<other />", 0}, {u"", 0}}) {
        FileTimestamp read(99);
        read.fromXml(text, u"time");
        EXPECT_EQ(read.seconds(), seconds);
    }
}

}  // namespace
}  // namespace zlk::test
