#include <chrono>
#include <set>

#include "tests/camera_devices/Card.h"

namespace zlk::test {
namespace {

namespace fs = std::filesystem;
using testing::Each;
using testing::ElementsAre;

using CardListing = CardTest;

TEST_F(CardListing, HoldsEveryFileThatIsNotHidden) {
    card.write("DCIM/100CAM/PICT0001.JPG", std::string(1024, 'x'));
    card.write("DCIM/100CAM/.thumb", "hidden");
    card.write("MISC/AUTPRINT.MRK", "order");
    card.write(".trash/A & <B>.JPG", "");
    card.write("README.TXT", "root");
    const std::u16string xml = listingOf(device, listener);
    EXPECT_THAT(column(xml, u"id"),
                ElementsAre(card.id(u".trash\\A & <B>.JPG"), card.id(u"DCIM\\100CAM\\PICT0001.JPG"),
                            card.id(u"MISC\\AUTPRINT.MRK"), card.id(u"README.TXT")));
    EXPECT_THAT(column(xml, u"camerapath"),
                ElementsAre(u"\\.trash\\A & <B>.JPG", u"\\DCIM\\100CAM\\PICT0001.JPG",
                            u"\\MISC\\AUTPRINT.MRK", u"README.TXT"));
    EXPECT_THAT(column(xml, u"size"), ElementsAre(u"0", u"1024", u"5", u"4"));
    EXPECT_THAT(column(xml, u"status"), Each(u"unknown"));
    EXPECT_THAT(column(xml, u"albums"), Each(u""));
    EXPECT_THAT(column(xml, u"pcpath"), Each(u""));
    EXPECT_THAT(reports.percents, ElementsAre(0, 1, 2, 3, 100));
    EXPECT_THAT(FastClock::pauses, ElementsAre(1000));

    EXPECT_TRUE(device.SetRecursion(false));
    EXPECT_THAT(idsListed(), ElementsAre(card.id(u"README.TXT")));
}

TEST_F(CardListing, ShowsDatesInLocalTimeAndTheCurrentTimeForOnesThatLocalTimeLacks) {
    using namespace std::chrono;
    const sys_seconds summer{sys_days{July / 4 / 2005} + 13h + 5min + 9s};
    for (const auto& [name, moment] :
         {std::pair{"DATED.JPG", summer}, {"OLD.JPG", sys_days{January / 1 / 1960}}}) {
        card.write(name, "x");
        last_write_time(card.folder / name, fs::file_time_type::clock::from_sys(moment));
    }
    const std::int64_t before = _time64();
    const auto modified = column(listingOf(device, listener), u"modified");
    ASSERT_EQ(modified.size(), 2u);
    EXPECT_EQ(modified[0], FileTimestamp(summer.time_since_epoch().count()).toText());
    FileTimestamp now;
    now.fromText(modified[1]);
    EXPECT_GE(now.seconds(), before);
}

TEST_F(CardListing, ReportsStayAt99UntilTheEnd) {
    for (int i = 0; i < 120; ++i) card.write(std::to_string(1000 + i) + ".JPG", "");
    listingOf(device, listener);
    std::vector<std::int32_t> expected(121, 99);
    for (int i = 0; i < 99; ++i) expected[i] = i;
    expected.back() = 100;
    EXPECT_EQ(reports.percents, expected);
}

TEST_F(CardListing, WalksAnEmptyCardAgainEachSecond) {
    const struct {
        std::u16string name;
        DWORD timeout;
        std::size_t passes;
    } cases[] = {{u"Three", 3, 4},
                 {u"Zero", 0, 11},
                 {u"Negative", 0xFFFFFFFF, 11},
                 {u"Endless", 0x7FFFFFFF, 601}};
    for (const auto& c : cases) {
        const RegistryKey key = regCreateKey(
            HKEY_LOCAL_MACHINE,
            u"Software\\Zephyr-Lanthorn\\PictureSuite\\Import\\ProductClasses\\" + c.name,
            KEY_ALL_ACCESS);
        RegSetValueExW(key.get(), u"FileEnumTimeout", 0, REG_DWORD,
                       reinterpret_cast<const BYTE*>(&c.timeout), sizeof c.timeout);
        FastClock::pauses.clear();
        reports.percents.clear();
        CMassStorageDev empty(card.root(), u"#Zephyr-Lanthorn#" + c.name + u"#0000");
        EXPECT_TRUE(column(listingOf(empty, listener), u"id").empty());
        EXPECT_EQ(FastClock::pauses, std::vector<DWORD>(c.passes, 1000)) << c.timeout;
        EXPECT_THAT(reports.percents, ElementsAre(100));
    }
}

TEST_F(CardListing, EndsWithThePassThatFindsAFile) {
    FastClock::duringPause = [&](std::size_t number) {
        if (number == 3) card.write("LATE.JPG", "x");
    };
    EXPECT_THAT(idsListed(), ElementsAre(card.id(u"LATE.JPG")));
    EXPECT_EQ(FastClock::pauses.size(), 3u);
}

TEST_F(CardListing, AStopEndsEveryLevelOfTheWalk) {
    for (const char* name : {"A/1", "A/B/2", "A/B/C/3", "A/B/C/4", "A/B/5", "A/6", "Z/7"})
        card.write(name, "x");
    reports.stopAt = 2;
    EXPECT_EQ(idsListed().size(), 2u);
    EXPECT_THAT(reports.percents, ElementsAre(0, 1, 100));
    EXPECT_EQ(FastClock::pauses.size(), 1u);
    reports.stopAt = 0;
    EXPECT_EQ(idsListed().size(), 7u) << "a stop counts for one listing";
}

TEST_F(CardListing, KeepsWhatWasFoundWhenTheCardIsPulled) {
    for (const char* name : {"A/1", "B/2", "C/3"}) card.write(name, "x");
    const fs::path away = card.folder.string() + ".away";
    reports.during = [&](std::size_t number) {
        if (number == 1) fs::rename(card.folder, away);
    };
    EXPECT_THAT(idsListed(), ElementsAre(card.id(u"A\\1")));
    bool inserted = true;
    EXPECT_TRUE(device.IsCardInserted(inserted));
    EXPECT_FALSE(inserted);
    EXPECT_TRUE(device.CheckConnection());  // the reader is still there
    fs::rename(away, card.folder);
    EXPECT_TRUE(device.IsCardInserted(inserted));
    EXPECT_TRUE(inserted);
}

TEST_F(CardListing, AnyNameLeadsBackToItsFile) {
    const std::string names[] = {"caf\xE9.jpg",     "back\\slash.jpg",  "line\nbreak.jpg",
                                 "tail /tail .jpg", "\xEF\x80\x8A.jpg", "a..jpg",
                                 "\x01\x7F.jpg",    "\xED\xA0\x80.jpg", "dir\xFF\\/&amp;.jpg"};
    for (const std::string& name : names) card.write(name, "bytes of " + name);
    listener = nullptr;
    std::multiset<std::string> copies, expected;
    for (const std::u16string& id : idsListed()) {
        const auto [code, bytes] = copy(id);
        EXPECT_EQ(code, DeviceCode::Success) << utf8Text(id);
        EXPECT_EQ(device.DeleteFile(id), DeviceCode::Success) << utf8Text(id);
        copies.insert(bytes);
    }
    for (const std::string& name : names) {
        EXPECT_FALSE(fs::exists(card.folder / name));
        expected.insert("bytes of " + name);
    }
    EXPECT_EQ(copies, expected);
}

TEST_F(CardListing, FailsWhereNoDriveAndNoFolderIs) {
    for (const WCHAR* id : {u"Q:\\", u"\\\\NOWHERE\\CARDS\\", u"\\\\", u""}) {
        CMassStorageDev nowhere(id, u"#Zephyr-Lanthorn#RemovableDrive#Q");
        EXPECT_FALSE(nowhere.CheckConnection());
        listingOf(nowhere, nullptr, DeviceCode::NotConnected);
        bool inserted = true;
        EXPECT_TRUE(nowhere.IsCardInserted(inserted));
        EXPECT_FALSE(inserted);
    }
    EXPECT_TRUE(FastClock::pauses.empty());
}

TEST(FileList, LeavesOutARecordThatCannotBeBuilt) {
    registerModules();
    FileInfoList list;
    const auto add = [&](const WCHAR* id, const WCHAR* albums) {
        list.addFile(id, u"", u"", 1ull << 40, FileTimestamp(), FileTimestamp(), u"", albums);
    };
    add(u"first", u"");
    add(u"broken", u"<albums><open></albums>");
    add(u"last", u"<albums><album>Wedding</album></albums>");
    EXPECT_THAT(column(list.getXml(), u"id"), ElementsAre(u"first", u"last"));
    EXPECT_THAT(column(list.getXml(), u"size"), Each(u"1099511627776"));
    EXPECT_NE(list.getXml().find(u"<album>Wedding</album>"), std::u16string::npos);
}

}  // namespace
}  // namespace zlk::test
