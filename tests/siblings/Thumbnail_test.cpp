#include <gtest/gtest.h>
#include <sys/resource.h>

#include <set>
#include <thread>

#include "interfaces/ThumbnailLibrary.h"
#include "platform/modules.h"
#include "platform/text.h"
#include "platform/volumes.h"
#include "tests/siblings/JpegSamples.h"
#include "tests/support/TestMachine.h"

namespace zlk::test {
namespace {

struct Answer {
    std::int32_t result;
    std::int32_t error;
    std::string jpeg;
};

class ThumbnailTest : public testing::Test {
  protected:
    ThumbnailTest() {
        library_ = LoadLibraryW(pathText(moduleFolder() / "zlkthbg2.so").c_str());
        if (library_) {
            entry_ = reinterpret_cast<ThumbnailEntryPoint>(
                GetProcAddress(library_, thumbnailEntryPoint));
        }
    }
    ~ThumbnailTest() override { FreeLibrary(library_); }
    void SetUp() override { ASSERT_TRUE(entry_); }

    Answer thumbnail(std::u16string path, int width = 160, int height = 160) {
        path.resize(MAX_PATH);
        BYTE* buffer = nullptr;
        DWORD size = 0;
        std::int32_t second = 0;
        std::int32_t error = 0;
        const std::int32_t result =
            entry_(path.data(), width, height, 0, &buffer, &size, &second, &error);
        return {result, error, std::string(reinterpret_cast<char*>(buffer), size)};
    }
    Answer thumbnailOf(const std::string& bytes, const std::string& name = "PICT0001.JPG") {
        const auto file = newFolder() / name;
        writeFile(file, bytes);
        return thumbnail(pathText(file));
    }
    /// What the thumbnail of such a file shows.
    Quarters shown(const std::string& bytes) {
        const Answer answer = thumbnailOf(bytes);
        EXPECT_EQ(answer.result, 0);
        return quartersOf(answer.jpeg);
    }
    std::string stock(const std::string& name) {
        const Answer answer = thumbnailOf("", name);
        EXPECT_EQ(answer.result, 0) << name;
        return answer.jpeg;
    }

    HMODULE library_ = nullptr;
    ThumbnailEntryPoint entry_ = nullptr;
};

const std::array<Colour, 4> seen{red, green, blue, white};
const std::array<Colour, 4> plain{grey, grey, grey, grey};

TEST_F(ThumbnailTest, StandsUprightHoweverTheCameraWasHeld) {
    // How the four quarters lie in the file for each way, the picture being 320 x 160 when upright.
    const std::array<Colour, 4> lying[] = {
        {red, green, blue, white}, {green, red, white, blue}, {white, blue, green, red},
        {blue, white, red, green}, {red, blue, green, white}, {green, white, red, blue},
        {white, green, blue, red}, {blue, red, white, green},
    };
    const Quarters upright{160, 80, seen};
    for (int orientation = 1; orientation <= 8; ++orientation) {
        SCOPED_TRACE(orientation);
        const auto& colours = lying[orientation - 1];
        const bool onSide = orientation >= 5;
        const Quarters file{onSide ? 160 : 320, onSide ? 320 : 160, colours};
        EXPECT_TRUE(looksLike(shown(jpegOf(file, exifOf(orientation))), upright));

        const std::string embedded = jpegOf({onSide ? 80 : 160, onSide ? 160 : 80, colours});
        const Quarters hidden{file.width, file.height, plain};
        EXPECT_TRUE(looksLike(shown(jpegOf(hidden, exifOf(orientation, embedded))), upright));
    }
    EXPECT_TRUE(looksLike(shown(jpegOf({320, 160, seen}, exifOf(9))), upright));
}

TEST_F(ThumbnailTest, TrustsAnEmbeddedThumbnailOnlyIfItIsGood) {
    const Quarters picture{640, 480, seen};
    const Quarters expected{160, 120, seen};
    const std::string good = jpegOf({160, 120, plain});
    EXPECT_TRUE(looksLike(shown(jpegOf(picture, exifOf(1, good))), {160, 120, plain}));
    const struct {
        const char* why;
        std::string embedded;
    } cases[] = {
        {"tiny", jpegOf({80, 60, plain})},
        {"with bars", jpegOf({160, 107, plain})},
        {"cut", good.substr(0, good.size() / 2)},
        {"no JPEG", std::string(2000, 'x')},
    };
    for (const auto& [why, embedded] : cases) {
        EXPECT_TRUE(looksLike(shown(jpegOf(picture, exifOf(1, embedded))), expected)) << why;
    }
    // Its length leads out of the file.
    std::string lying = exifOf(1, good);
    lying.resize(lying.size() - good.size());
    EXPECT_TRUE(looksLike(shown(jpegOf(picture, lying)), expected));
    // A picture cut short still has the one in front.
    const std::string whole = jpegOf(picture, exifOf(1, good));
    EXPECT_TRUE(looksLike(shown(whole.substr(0, whole.size() - 2000)), {160, 120, plain}));
}

TEST_F(ThumbnailTest, ReadsEveryFormOfJpegAndNeverEnlarges) {
    EXPECT_TRUE(
        looksLike(shown(jpegOf({1000, 500, seen}, {}, Form::Progressive)), {160, 80, seen}));
    EXPECT_TRUE(looksLike(shown(jpegOf({1000, 500, seen}, {}, Form::Cmyk)), {160, 80, seen}));
    EXPECT_TRUE(looksLike(shown(jpegOf({500, 1000, plain}, {}, Form::Grey)), {80, 160, plain}));
    EXPECT_TRUE(looksLike(shown(jpegOf({30, 20, seen})), {30, 20, seen}));
    EXPECT_TRUE(looksLike(shown(jpegOf({161, 161, seen})), {160, 160, seen}));
    EXPECT_TRUE(looksLike(shown(jpegOf({4000, 3, plain})), {160, 1, plain}));
    const std::string whole = jpegOf({640, 480, seen});
    EXPECT_TRUE(looksLike(shown(whole.substr(0, whole.size() - 2)), {160, 120, seen}))
        << "without its end mark";
}

TEST_F(ThumbnailTest, GivesAStockPictureByKindForWhatItCannotRead) {
    const std::string picture = stock("PICT0001.JPG");
    EXPECT_TRUE(stock("a.jpeg") == picture);
    std::set<std::string> kinds;
    for (const char* name : {"PICT0001.JPG", "MOVI0001.MOV", "NOTE.WAV", "README", "a.TXT"}) {
        const std::string jpeg = stock(name);
        const Quarters size = quartersOf(jpeg);
        EXPECT_EQ(size.width, 160);
        EXPECT_EQ(size.height, 120);
        kinds.insert(jpeg);
    }
    EXPECT_EQ(kinds.size(), 4U);

    const std::string whole = jpegOf({640, 480, seen});
    std::string huge = jpegOf({64, 64, seen}, {}, Form::Progressive);
    const std::string frame("\xFF\xC2\x00\x11\x08\x00\x40\x00\x40", 9);
    const std::size_t header = huge.find(frame);
    ASSERT_NE(header, std::string::npos);
    huge.replace(header + 5, 4, "\x4E\x20\x4E\x20");  // 20,000 x 20,000
    std::string hugePlain = jpegOf({64, 64, seen});
    const std::size_t plainHeader = hugePlain.find(std::string("\xFF\xC0\x00\x11\x08", 5));
    ASSERT_NE(plainHeader, std::string::npos);
    hugePlain.replace(plainHeader + 5, 4, "\xFF\xDC\xFF\xDC");  // 65,500 x 65,500
    const struct {
        const char* why;
        std::string bytes;
    } cases[] = {
        {"no picture", "hello"},
        {"a start mark", "\xFF\xD8"},
        {"a broken header", whole.substr(0, 100) + std::string(5000, 'x')},
        {"cut in the middle", whole.substr(0, whole.size() / 2)},
        {"no data", whole.substr(0, 640)},
        {"progressive and huge", huge},
        {"huge", hugePlain},
        {"zeros", std::string("\xFF\xD8") + std::string(1'000'000, '\0')},
    };
    rusage before;
    getrusage(RUSAGE_SELF, &before);
    for (const auto& [why, bytes] : cases) {
        const Answer answer = thumbnailOf(bytes);
        EXPECT_EQ(answer.result, 0) << why;
        EXPECT_TRUE(answer.jpeg == picture) << why;
    }
    rusage after;
    getrusage(RUSAGE_SELF, &after);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 40 * 1024) << "KB";
}

TEST_F(ThumbnailTest, KeepsNoPictureWholeThatNeedsMoreThanItsMemory) {
    // Whole and sound, so that only the limit can turn it away: four colours of two bytes each.
    EXPECT_TRUE(
        looksLike(shown(jpegOf({1000, 1000, seen}, {}, Form::ProgressiveCmyk)), {160, 160, seen}));
    const Answer answer = thumbnailOf(jpegOf({4200, 4200, seen}, {}, Form::ProgressiveCmyk));
    EXPECT_EQ(answer.result, 0);
    EXPECT_TRUE(answer.jpeg == stock("PICT0001.JPG"));
}

TEST_F(ThumbnailTest, FailsOnlyWhereThereIsNoFileToRead) {
    const auto folder = newFolder();
    Answer answer = thumbnail(pathText(folder / "missing.JPG"));
    EXPECT_EQ(answer.result, thumbnailErrorUnknown);
    EXPECT_EQ(answer.error, static_cast<std::int32_t>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(answer.jpeg, "");
    EXPECT_EQ(thumbnail(pathText(folder)).result, thumbnailErrorUnknown);
    EXPECT_EQ(thumbnail(u"").result, thumbnailErrorUnknown);

    writeFile(folder / "a.JPG", jpegOf({64, 64, seen}));
    const std::u16string file = pathText(folder / "a.JPG");
    EXPECT_EQ(thumbnail(file, 0, 160).result, thumbnailErrorUnknown);
    EXPECT_EQ(thumbnail(file, 160, -1).result, thumbnailErrorUnknown);
    EXPECT_EQ(thumbnail(file, 1, 1).result, 0);
    EXPECT_EQ(thumbnail(file, 0x7FFFFFFF, 0x7FFFFFFF).result, 0);

    std::u16string unterminated(MAX_PATH, u'x');
    std::int32_t error = 0;
    EXPECT_EQ(entry_(unterminated.data(), 160, 160, 0, nullptr, nullptr, nullptr, &error),
              thumbnailErrorUnknown);
    EXPECT_EQ(entry_(nullptr, 160, 160, 0, nullptr, nullptr, nullptr, &error),
              thumbnailErrorUnknown);
}

TEST_F(ThumbnailTest, KeepsEachThreadsBufferUntilItsNextCall) {
    const auto folder = newFolder();
    writeFile(folder / "a.JPG", jpegOf({64, 64, seen}));
    std::u16string path = pathText(folder / "a.JPG");
    path.resize(MAX_PATH);
    BYTE* buffer = nullptr;
    DWORD size = 0;
    std::int32_t ignored = 0;
    ASSERT_EQ(entry_(path.data(), 160, 160, 0, &buffer, &size, &ignored, &ignored), 0);
    const std::string before(reinterpret_cast<char*>(buffer), size);
    std::thread([&] { EXPECT_FALSE(stock("b.MOV") == before); }).join();
    EXPECT_TRUE(std::string(reinterpret_cast<char*>(buffer), size) == before);
}

TEST_F(ThumbnailTest, ReadsFromADrive) {
    const auto folder = newFolder();
    std::filesystem::create_directories(folder / "DCIM" / "100CAM");
    writeFile(folder / "DCIM" / "100CAM" / "PICT0001.JPG", jpegOf({320, 160, seen}));
    CardMount card{pathText(folder), u'E', u"", u"", u"", false};
    ASSERT_TRUE(mountCard(card)) << GetLastError();
    const Answer answer = thumbnail(u"E:\\dcim\\100cam\\pict0001.jpg");
    EXPECT_EQ(answer.result, 0);
    EXPECT_TRUE(looksLike(quartersOf(answer.jpeg), {160, 80, seen}));
}

}  // namespace
}  // namespace zlk::test
