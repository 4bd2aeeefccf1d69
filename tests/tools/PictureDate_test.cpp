#include "tools/zlkcam/unload/PictureDate.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <map>

#include "tests/support/ChildProcess.h"
#include "tests/support/TestMachine.h"

namespace zlk {
namespace {

using namespace std::string_literals;

enum Tag : unsigned { changed = 0x132, original = 0x9003, digitized = 0x9004 };
using Dates = std::map<unsigned, std::string>;

/// A TIFF block of two directories with nothing but dates.
class Tiff {
  public:
    Tiff(std::string start, const Dates& first, const Dates& exif) : bytes_(std::move(start)) {
        isBigEndian_ = bytes_.front() == 'M';
        add(8, 4);
        const bool hasExif = !exif.empty();
        addDirectory(first, hasExif);
        if (hasExif) addDirectory(exif, false);
    }
    const std::string& bytes() const { return bytes_; }

  private:
    void add(std::size_t value, int size) {
        for (int i = 0; i < size; ++i)
            bytes_ += static_cast<char>(value >> 8 * (isBigEndian_ ? size - 1 - i : i));
    }
    void addEntry(unsigned tag, unsigned format, std::size_t count, std::size_t value) {
        add(tag, 2);
        add(format, 2);
        add(count, 4);
        add(value, 4);
    }
    void addDirectory(const Dates& dates, bool hasExif) {
        const std::size_t entries = dates.size() + hasExif;
        std::size_t behind = bytes_.size() + 2 + 12 * entries + 4;
        add(entries, 2);
        std::string texts;
        for (const auto& [tag, text] : dates) {
            addEntry(tag, 2, text.size() + 1, behind + texts.size());
            texts += text + '\0';
        }
        if (hasExif) addEntry(0x8769, 4, 1, behind + texts.size());
        add(0, 4);
        bytes_ += texts;
    }

    std::string bytes_;
    bool isBigEndian_;
};

const std::string intel = "II*\0"s, exifHeader = "Exif\0\0"s;
const LocalTime expected{2026, 11, 1, 9, 5, 3};
const std::string expectedText = "2026:11:01 09:05:03", otherText = "2020:02:02 02:02:02";

std::optional<LocalTime> dateIn(const std::string& bytes) {
    // In memory of exactly this size, so that a sanitizer sees what is read beyond it.
    const std::vector<char> exact(bytes.begin(), bytes.end());
    return pictureDate(std::as_bytes(std::span(exact)));
}

std::string tiff(const std::string& start = intel) {
    return Tiff(start, {{changed, otherText}}, {{original, expectedText}}).bytes();
}

std::string segment(char kind, const std::string& content) {
    const std::size_t size = content.size() + 2;
    return "\xFF"s + kind + static_cast<char>(size >> 8) + static_cast<char>(size) + content;
}

std::string movie(int version, std::uint64_t seconds) {
    const int width = version ? 8 : 4;
    std::string bytes = "\0\0\0\x14"s + "ftypqt  " + std::string(8, '\0') + "\0\0\1\0moov"s;
    bytes += version ? "\0\0\0\x78mvhd\1\0\0\0"s : "\0\0\0\x6Cmvhd\0\0\0\0"s;
    for (int i = width - 1; i >= 0; --i) bytes += static_cast<char>(seconds >> 8 * i);
    return bytes + std::string(100, '\0');
}

TEST(PictureDate, IsFoundInEveryFrame) {
    for (const std::string& start : {intel, "MM\0*"s, "IIU\0"s, "IIRO"s, "MMOR"s})
        EXPECT_EQ(dateIn(tiff(start)), expected) << start;
    const std::string jpeg = "\xFF\xD8" + segment('\xE1', "another block\0<x/>"s) +
                             segment('\xE1', exifHeader + tiff()) + "\xFF\xDB";
    EXPECT_EQ(dateIn(jpeg), expected);
    EXPECT_EQ(
        dateIn("\0\0\0\x18"
               "ftypheic"s +
               std::string(500, 'x') + exifHeader + "\0\0\0\1"s + exifHeader + tiff("MM\0*"s)),
        expected);
    // The frame of a RAW file that has each directory in a box of its own.
    const std::string bare = Tiff(intel, {{original, expectedText}}, {}).bytes();
    EXPECT_EQ(dateIn("\0\0\0\x18"
                     "ftypcrx "s +
                     "CMT1" + tiff() + "CMT2" + bare),
              expected);
}

TEST(PictureDate, IsWhenItWasTakenRatherThanWhenItWasChanged) {
    const std::string text = expectedText;
    const auto date = [](const Dates& first, const Dates& exif) {
        return dateIn(Tiff(intel, first, exif).bytes());
    };
    EXPECT_EQ(date({{changed, otherText}}, {{original, text}, {digitized, otherText}}), expected);
    EXPECT_EQ(date({{changed, otherText}}, {{digitized, text}}), expected);
    EXPECT_EQ(date({{changed, text}}, {}), expected);
    // What a camera writes whose clock was never set, and what isn't a date at all.
    for (const char* none :
         {"0000:00:00 00:00:00", "    :  :     :  :  ", "1980:01:01 00:00:00",
          "2026:02:30 10:00:00", "2026:11:01 24:00:00", "2101:01:01 00:00:00", "2026:11:01", "",
          "-026:11:01 09:05:03", "\xFF\xFF\xFF\xFF:11:01 09:05:03"}) {
        EXPECT_EQ(date({{changed, text}}, {{original, none}}), expected) << none;
        EXPECT_EQ(date({}, {{original, none}}), std::nullopt) << none;
    }
}

TEST(PictureDate, OfAVideoIsInLocalTime) {
    ::setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
    const std::uint64_t moment = 2082844800u + 1793520303u;  // 2026-11-01 08:05:03 UTC
    EXPECT_EQ(dateIn(movie(0, moment)), expected);
    EXPECT_EQ(dateIn(movie(1, moment)), expected);
    for (const std::uint64_t none :
         {std::uint64_t{0}, ~std::uint64_t{0}, std::uint64_t{1} << 63, std::uint64_t{2082844800}})
        EXPECT_EQ(dateIn(movie(1, none)), std::nullopt) << none;
    EXPECT_EQ(dateIn(movie(0, 0)), std::nullopt);
    ::unsetenv("TZ");
}

TEST(PictureDate, IsNoneOrRightInWhateverIsCutOff) {
    const std::string picture = "\xFF\xD8" + segment('\xE1', exifHeader + tiff());
    for (const std::string& whole : {picture, tiff("MM\0*"s), movie(1, 0)})
        for (std::size_t size = 0; size <= whole.size(); ++size) {
            const auto date = dateIn(whole.substr(0, size));
            EXPECT_THAT(date,
                        testing::AnyOf(std::nullopt, expected, LocalTime{2020, 2, 2, 2, 2, 2}));
        }
    EXPECT_EQ(dateIn("The date is 2026:11:01 09:05:03."), std::nullopt);
}

TEST(PictureDate, IsSoughtInABlockThatWasMadeToTakeLong) {
    // Directories that refer to themselves and to each other, as many as there is room for.
    std::string block = intel + "\x08\0\0\0\xFF\xFF"s;
    while (block.size() < pictureHeadSize)
        block += "\x69\x87\4\0\1\0\0\0\x08\0\0\0"s + "\x25\x88\4\0\1\0\0\0\x0A\0\0\0"s;
    for (int i = 0; i < 100; ++i) EXPECT_EQ(dateIn(block), std::nullopt);
}

TEST(ListedDate, IsTheEarlierOneThatCanBeTrue) {
    const std::string early = "11/01/2026 09:05:03", late = "11/02/2026 00:00:00",
                      unset = "01/01/1980 00:00:00";
    const auto dates = [](const RecordTime& modified, const RecordTime& created) {
        FileRecord file;
        file.modified = modified;
        file.created = created;
        return std::pair(listedDate(file), changeDate(file));
    };
    const LocalTime changed{2026, 11, 2, 0, 0, 0};
    EXPECT_EQ(dates({late}, {early}), std::pair(std::optional(expected), std::optional(changed)));
    EXPECT_EQ(dates({early}, {late}).first, expected);
    for (const RecordTime& none : {RecordTime{unset}, RecordTime{late, true}, RecordTime{""}}) {
        EXPECT_EQ(dates({early}, none).first, expected);
        EXPECT_EQ(dates(none, {early}).first, expected);
        EXPECT_EQ(dates(none, {early}).second, expected);
        EXPECT_EQ(dates(none, none).first, std::nullopt);
    }
}

TEST(PictureDate, IsReadFromWhatALibraryWrote) {
    const std::filesystem::path card = test::newFolder();
    const auto made =
        test::runProgram({test::programFolder() / "zlk-samplecard", card, "--pictures", "1"});
    ASSERT_EQ(made.status, 0) << made.error;
    const std::string picture = test::readFile(card / "DCIM/100CAM/PICT0001.JPG");
    EXPECT_EQ(dateIn(picture.substr(0, pictureHeadSize)), (LocalTime{2006, 7, 15, 10, 0, 0}));
}

}  // namespace
}  // namespace zlk
