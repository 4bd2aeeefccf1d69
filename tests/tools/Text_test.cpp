#include "tools/zlkcam/Text.h"

#include <gtest/gtest.h>

#include "tools/zlkcam/Documents.h"
#include "tools/zlkcam/Failure.h"
#include "tools/zlkcam/ProgressBar.h"

namespace zlk {
namespace {

TEST(PathArgument, keepsEveryByteOfAName) {
    EXPECT_EQ(pathArgument("/a/é"), u"/a/é");
    EXPECT_EQ(pathArgument("/a\xE9\xFF"), u"/a\xF0E9\xF0FF");
    EXPECT_EQ(pathArgument("/a\\.\n"), u"/a\xF05C.\xF00A");
    EXPECT_EQ(pathArgument("E:\\a"), u"E:\\a");
    EXPECT_EQ(pathArgument("\xF0\x9F\x93\xB7"), u"\xD83D\xDCF7");
}

TEST(HarmlessText, cannotSteerATerminal) {
    EXPECT_EQ(harmlessText("a\x1b[2Jb\x7F\rc\td\n"), "a?[2Jb??c\td\n");
    EXPECT_EQ(harmlessText("\u009B31m"), "?31m");  // the one-character form of ESC [
    EXPECT_EQ(harmlessText("é€\xC2\xA0"), "é€\xC2\xA0");
}

TEST(FileInfo, isReadAsItIsAndATimeThatSaysNothingIsNone) {
    const auto files = parseFileInfo(
        Bstr(u"<fileInfo><file><id>E:\\a&amp;b &lt; .JPG</id><camerapath>\\a</camerapath>"
             u"<size>4294967295</size><modified>07/04/2005 "
             u"13:05:09</modified></file><file/></fileInfo>"));
    ASSERT_EQ(files.size(), 2u);
    EXPECT_EQ(files[0].id, u"E:\\a&b < .JPG");
    EXPECT_EQ(files[0].size, 4294967295u);
    EXPECT_EQ(files[1].id, u"");
    EXPECT_THROW(parseFileInfo(Bstr(u"")), Failure);
    EXPECT_THROW(parseFileInfo(Bstr(u"<fileInfo><file></fileInfo>")), Failure);
    EXPECT_THROW(parseDevices(u"<fileInfo/>"), Failure);
    EXPECT_GT(secondsOf("07/04/2005 13:05:09"), 1100000000);
    for (const char* text : {"", "0/0/0", "00/00/0000 -1:-1:-1", "yesterday"})
        EXPECT_EQ(secondsOf(text), -1) << text;
}

TEST(FileInfo, showsTheTimeOfTheListingWhereThereIsNoDate) {
    ::setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    std::vector<FileRecord> files(1);
    files[0].created.text = "10/25/2026 02:30:07";  // comes twice in that night
    for (const auto& [start, isMissing] : {std::pair(1792888205, true),
                                           {1792891805, true},
                                           {1792888208, false},
                                           {1792884605, false}}) {
        markMissingDates(files, start, start + 4);
        EXPECT_EQ(files[0].created.isNoDate, isMissing) << start;
        EXPECT_FALSE(files[0].modified.isNoDate);
    }
    ::unsetenv("TZ");
    const RecordTime date{"10/25/2026 02:30:07"}, none{"10/25/2026 02:30:07", true},
        later{"10/25/2026 02:30:09", true};
    EXPECT_TRUE(date == none && none == later);
    EXPECT_FALSE(date == later);
}

TEST(ProgressBar, tellsFilesBytesRateAndTimeLeft) {
    Tool tool;
    tool.json = true;  // draws nothing
    ProgressBar bar(tool, 4, 400'000'000);
    bar.startFile(u"A.JPG", 100'000'000);
    bar.endFile();
    bar.startFile(u"\x1bZ.JPG", 300'000'000);
    bar.progress(33);
    EXPECT_EQ(
        bar.text(2000, 200),
        "[#########...........] 1/4 files  199.0 MB of 400.0 MB  99.5 MB/s  0:02 left  ?Z.JPG");
    EXPECT_EQ(bar.text(2000, 30).size(), 29u);
    EXPECT_EQ(bar.text(0, 200).find("left"), std::string::npos);  // too early to know
}

}  // namespace
}  // namespace zlk
