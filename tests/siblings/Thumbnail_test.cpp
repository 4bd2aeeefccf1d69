#include <gtest/gtest.h>
#include <sys/resource.h>

#include <set>
#include <thread>

#include "interfaces/ThumbnailLibrary.h"
#include "platform/text.h"
#include "tests/siblings/JpegSamples.h"
#include "tests/support/Modules.h"

namespace zlk::test {
namespace {

struct Answer {
    std::int32_t result, error;
    std::string jpeg;
};

class ThumbnailTest : public testing::Test {
  protected:
    void SetUp() override { ASSERT_TRUE(entry_); }

    Answer thumbnail(std::u16string path, int width = 160, int height = 160) {
        path.resize(MAX_PATH);
        BYTE* buffer = nullptr;
        DWORD size = 0;
        std::int32_t second = 0, error = 0;
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

    const LoadedModule library_{moduleFolder() / "zlkthbg2.so"};
    const ThumbnailEntryPoint entry_ =
        reinterpret_cast<ThumbnailEntryPoint>(GetProcAddress(library_.get(), thumbnailEntryPoint));
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
    const struct {
        Quarters picture;
        Form form;
        Quarters expected;
    } cases[] = {
        {{1000, 500, seen}, Form::Progressive, {160, 80, seen}},
        {{1000, 500, seen}, Form::Cmyk, {160, 80, seen}},
        {{1000, 1000, seen}, Form::ProgressiveCmyk, {160, 160, seen}},
        {{500, 1000, plain}, Form::Grey, {80, 160, plain}},
        {{30, 20, seen}, Form::Plain, {30, 20, seen}},
        {{161, 161, seen}, Form::Plain, {160, 160, seen}},
        {{4000, 3, plain}, Form::Plain, {160, 1, plain}},
    };
    for (const auto& [picture, form, expected] : cases) {
        EXPECT_TRUE(looksLike(shown(jpegOf(picture, {}, form)), expected))
            << picture.width << ", form " << static_cast<int>(form);
    }
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
        EXPECT_TRUE(size.width == 160 && size.height == 120) << name;
        kinds.insert(jpeg);
    }
    EXPECT_EQ(kinds.size(), 4U);

    const std::string whole = jpegOf({640, 480, seen});
    /// A small picture whose frame header, of this mark, claims another size.
    const auto claiming = [](const char* size, char mark, Form form) {
        std::string jpeg = jpegOf({64, 64, seen}, {}, form);
        const std::size_t header =
            jpeg.find(std::string("\xFF") + mark + std::string("\0\x11\b", 3));
        EXPECT_NE(header, std::string::npos);
        return jpeg.replace(header + 5, 4, size);
    };
    const std::string huge = claiming("\x4E\x20\x4E\x20", '\xC2', Form::Progressive);  // 20,000
    const std::string hugePlain = claiming("\xFF\xDC\xFF\xDC", '\xC0', Form::Plain);   // 65,500
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
    const auto stockFor = [&](const std::string& bytes) {
        const Answer answer = thumbnailOf(bytes);
        return answer.result == 0 && answer.jpeg == picture;
    };
    for (const auto& [why, bytes] : cases) EXPECT_TRUE(stockFor(bytes)) << why;
    rusage after;
    getrusage(RUSAGE_SELF, &after);
    EXPECT_LT(after.ru_maxrss - before.ru_maxrss, 40 * 1024) << "KB";
    // Whole and sound, so that only the limit can turn it away: four colours of two bytes each.
    EXPECT_TRUE(stockFor(jpegOf({4200, 4200, seen}, {}, Form::ProgressiveCmyk)));
}

TEST_F(ThumbnailTest, FailsOnlyWhereThereIsNoFileToRead) {
    const auto folder = newFolder();
    const Answer answer = thumbnail(pathText(folder / "missing.JPG"));
    EXPECT_EQ(answer.result, thumbnailErrorUnknown);
    EXPECT_EQ(answer.error, static_cast<std::int32_t>(ERROR_FILE_NOT_FOUND));
    EXPECT_EQ(answer.jpeg, "");
    EXPECT_EQ(thumbnail(pathText(folder)).result, thumbnailErrorUnknown);
    EXPECT_EQ(thumbnail(u"").result, thumbnailErrorUnknown);

    writeFile(folder / "a.JPG", jpegOf({64, 64, seen}));
    const std::u16string file = pathText(folder / "a.JPG");
    EXPECT_EQ(thumbnail(file, 0, 160).result, thumbnailErrorUnknown);
    EXPECT_EQ(thumbnail(file, 160, -1).result, thumbnailErrorUnknown);
    for (const int size : {1, 0x7FFFFFFF}) EXPECT_EQ(thumbnail(file, size, size).result, 0);

    std::u16string unterminated(MAX_PATH, u'x');
    std::int32_t error = 0;
    for (WCHAR* path : {unterminated.data(), static_cast<WCHAR*>(nullptr)})
        EXPECT_EQ(entry_(path, 160, 160, 0, nullptr, nullptr, nullptr, &error),
                  thumbnailErrorUnknown);
}

TEST_F(ThumbnailTest, KeepsEachThreadsBufferUntilItsNextCall) {
    std::u16string path = pathText(newFolder() / "a.JPG");
    writeFile(utf8Text(path), jpegOf({64, 64, seen}));
    path.resize(MAX_PATH);
    BYTE* buffer = nullptr;
    DWORD size = 0;
    std::int32_t ignored = 0;
    ASSERT_EQ(entry_(path.data(), 160, 160, 0, &buffer, &size, &ignored, &ignored), 0);
    const std::string before(reinterpret_cast<char*>(buffer), size);
    std::thread([&] { EXPECT_FALSE(stock("b.MOV") == before); }).join();
    EXPECT_TRUE(std::string(reinterpret_cast<char*>(buffer), size) == before);
}

}  // namespace
}  // namespace zlk::test
