#include "tests/camera_devices/Card.h"
#include "tests/usbscan/Camera.h"

namespace zlk::test {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using testing::ElementsAre;
using testing::Pair;

using CardTransfer = CardTest;

TEST_F(CardTransfer, CopiesEveryByteInBlocks) {
    const struct {
        std::size_t size;
        std::vector<std::int32_t> percents;
    } cases[] = {
        {0, {}}, {1, {100}}, {65'536, {100}}, {131'072, {50, 100}}, {196'609, {33, 67, 100, 100}}};
    for (const auto& c : cases) {
        card.write("PICT.JPG", randomText(c.size));
        reports.percents.clear();
        EXPECT_THAT(copy(card.id(u"PICT.JPG")), Pair(DeviceCode::Success, randomText(c.size)));
        EXPECT_EQ(reports.percents, c.percents) << c.size;
    }
}

TEST_F(CardTransfer, AStopLeavesTheBlocksSoFar) {
    card.write("PICT.JPG", randomText(300'000));
    reports.stopAt = 1;
    EXPECT_THAT(copy(card.id(u"PICT.JPG")), Pair(DeviceCode::Success, randomText(65'536)));
}

TEST_F(CardTransfer, WaitsForAFileThatCannotBeOpenedYet) {
    FastClock::duringPause = [&](std::size_t number) {
        if (number == 5) card.write("LATE.JPG", "here");
    };
    EXPECT_THAT(copy(card.id(u"LATE.JPG")), Pair(DeviceCode::Success, "here"));
    EXPECT_EQ(FastClock::pauses, std::vector<DWORD>(5, 100));
    FastClock::pauses.clear();
    EXPECT_THAT(copy(card.id(u"NEVER.JPG")), Pair(DeviceCode::ReadFailed, ""));
    EXPECT_EQ(FastClock::pauses, std::vector<DWORD>(199, 100));
}

TEST_F(CardTransfer, AFileThatShrinksFailsAndOneThatGrowsKeepsItsSize) {
    card.write("PICT.JPG", randomText(200'000));
    reports.during = [&](std::size_t) { fs::resize_file(card.folder / "PICT.JPG", 100'000); };
    EXPECT_EQ(copy(card.id(u"PICT.JPG")).first, DeviceCode::ReadFailed);
    card.write("PICT.JPG", randomText(200'000));
    reports.during = [&](std::size_t) { fs::resize_file(card.folder / "PICT.JPG", 400'000); };
    EXPECT_THAT(copy(card.id(u"PICT.JPG")), Pair(DeviceCode::Success, randomText(200'000)));
}

TEST_F(CardTransfer, ATargetThatCannotBeWrittenFails) {
    card.write("PICT.JPG", "bytes");
    const UniqueHandle readOnly(CreateFileW(card.id(u"PICT.JPG").c_str(), GENERIC_READ,
                                            FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                                            FILE_ATTRIBUTE_NORMAL, nullptr));
    EXPECT_EQ(device.GetFile(card.id(u"PICT.JPG"), nullptr, readOnly.get()),
              DeviceCode::ReadFailed);
}

TEST_F(CardTransfer, SizesHave32Bits) {
    card.write("HUGE.AVI", randomText(70'000));
    fs::resize_file(card.folder / "HUGE.AVI", (5ull << 30) + 70'000);
    fs::resize_file(card.folder / "HUGE.AVI", (4ull << 30) + 70'000);
    EXPECT_THAT(copy(card.id(u"HUGE.AVI")), Pair(DeviceCode::Success, randomText(70'000)));
    EXPECT_THAT(reports.percents, ElementsAre(94, 100));
}

TEST_F(CardTransfer, RefusesAnIdThatLeadsAnywhereElse) {
    card.write("DCIM/PICT.JPG", "mine");
    const fs::path victim = card.folder.parent_path() / "victim";
    writeFile(victim, "not the card's");
    std::vector<std::u16string> ids{u"", pathText(victim), u"victim", u"Z:\\registry.db",
                                    u"\\\\.\\" + card.id(u"DCIM\\PICT.JPG")};
    for (const std::u16string& below :
         {u""s, u"DCIM"s, u"..\\victim"s, u"\\..\\victim"s, u"DCIM\\..\\..\\victim"s,
          u"DCIM/../PICT.JPG"s, u"\uF02E\uF02E\\victim"s, u"DCIM\\PICT.JPG\0.BAK"s,
          u"DCIM\\\uF02E\uF02E\uF02F\uF02E\uF02E\uF02Fvictim"s})
        ids.push_back(card.id(below));
    for (const std::u16string& id : ids) {
        EXPECT_EQ(copy(id).first, DeviceCode::ReadFailed) << utf8Text(id);
        EXPECT_EQ(device.DeleteFile(id), DeviceCode::DeleteRefused) << utf8Text(id);
    }
    EXPECT_TRUE(fs::exists(victim) && fs::exists(card.folder / "DCIM/PICT.JPG"));
    // The system takes the names of a card without case.
    EXPECT_EQ(device.DeleteFile(std::u16string(1, card.root()[0] | 0x20) + u":\\dcim\\pict.jpg"),
              DeviceCode::Success);
}

TEST_F(CardTransfer, ThumbnailsComeFromTheLibrary) {
    card.write("BROKEN.JPG", "no picture");  // which has a stock picture
    const std::u16string broken = card.id(u"BROKEN.JPG");
    const fs::path path = newFolder() / "thumbnail.jpg";
    const std::u16string thumbnail = pathText(path);
    ASSERT_EQ(device.GetThumbnail(broken, thumbnail), DeviceCode::Success);
    EXPECT_EQ(readFile(path).substr(0, 3), "\xFF\xD8\xFF");
    for (const std::u16string& bad : {u"/nowhere/thumbnail.jpg"s, thumbnail + u"\0.jpg"s})
        EXPECT_EQ(device.GetThumbnail(broken, bad), DeviceCode::PcFileUnusable);
    for (const std::u16string& bad : {u"/etc/passwd"s, card.id(std::u16string(300, u'x'))})
        EXPECT_EQ(device.GetThumbnail(bad, thumbnail), DeviceCode::ReadFailed);
}

}  // namespace
}  // namespace zlk::test
