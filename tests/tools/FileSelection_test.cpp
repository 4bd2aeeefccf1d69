#include "tools/zlkcam/unload/FileSelection.h"

#include <gtest/gtest.h>

#include "platform/text.h"
#include "tools/zlkcam/Failure.h"

namespace zlk {
namespace {

FileRecord file(std::u16string path, std::string modified = {}, std::string created = {}) {
    FileRecord record;
    record.id = u"E:" + path;
    record.cameraPath = std::move(path);
    record.modified.text = std::move(modified);
    record.created.text = std::move(created);
    return record;
}

bool takes(const SelectionOptions& options, const FileRecord& record) {
    return FileSelection(options).takes(record);
}

TEST(GlobPattern, MatchesNamesAndPathsAsShellsDo) {
    struct Case {
        const char* pattern;
        const char16_t* path;
        bool matches;
    };
    const Case cases[] = {
        {"*.jpg", u"\\DCIM\\100CAM\\IMG_1.JPG", true},
        {"*.jpg", u"IMG_1.JPG", true},
        {"*.jpg", u"DCIM\\a.jpg\\IMG_1.CR2", false},
        {"IMG_*", u"DCIM\\xIMG_1.JPG", false},
        {"img_?.j*g", u"DCIM/IMG_1.JPG", true},
        {"img_?.jpg", u"DCIM/IMG_12.JPG", false},
        {"*", u"DCIM\\", true},  // a camera's picture without a name
        {"É*", u"DCIM\\é.jpg", true},
        {"[a-c]1.jpg", u"B1.JPG", true},
        {"[!a-c]1.jpg", u"B1.JPG", false},
        {"[^a-c]1.jpg", u"d1.jpg", true},
        {"[]-]1", u"-1", true},
        {"[[]1", u"[1", true},
        {"DCIM[!x]*", u"DCIM/a", false},  // no set has a slash
        {"DCIM/*", u"\\DCIM\\IMG_1.JPG", true},
        {"DCIM/*", u"\\DCIM\\100CAM\\IMG_1.JPG", false},
        {"/dcim\\100cam\\*", u"\\DCIM\\100CAM\\IMG_1.JPG", true},
        {"100CAM/*", u"\\DCIM\\100CAM\\IMG_1.JPG", false},
        {"**/100CAM/*", u"\\DCIM\\100CAM\\IMG_1.JPG", true},
        {"**/100CAM/*", u"100CAM\\IMG_1.JPG", true},
        {"**/100CAM/*", u"x100CAM\\IMG_1.JPG", false},
        {"DCIM/**/*.mov", u"DCIM\\a\\b\\1.MOV", true},
        {"DCIM/**/1.mov", u"DCIM\\1.MOV", true},
        {"DCIM/**/1.mov", u"DCIM\\a1.MOV", false},
        {"DCIM/**.mov", u"DCIM\\a\\b\\1.MOV", true},
        {"DCIM/", u"\\DCIM\\100CAM\\IMG_1.JPG", true},
        {"MISC/", u"\\DCIM\\MISC\\IMG_1.JPG", false},
        {"/", u"\\DCIM\\100CAM\\IMG_1.JPG", true},
        {"/README.TXT", u"README.TXT", true},
        {"/README.TXT", u"\\DCIM\\README.TXT", false},
        {"\xE9.jpg", u"DCIM\\\xF0E9.jpg", true},  // bytes that aren't UTF-8, on both sides
    };
    for (const Case& each : cases)
        EXPECT_EQ(GlobPattern(each.pattern).matches(each.path), each.matches)
            << each.pattern << " on " << utf8Text(each.path);
}

TEST(GlobPattern, TakesNoExponentialTime) {
    std::string pattern;
    for (int i = 0; i < 200; ++i) pattern += "*a**/?";
    const std::u16string path(20000, u'a');
    EXPECT_FALSE(GlobPattern(pattern + "b").matches(path));
}

TEST(FileSelection, TakesWhatOneOfThePatternsWantsAndNoneRefuses) {
    const FileRecord jpeg = file(u"\\DCIM\\100CAM\\IMG_1.JPG"), raw = file(u"\\DCIM\\IMG_1.CR2");
    EXPECT_TRUE(FileSelection({}).takesAll());
    EXPECT_TRUE(takes({}, jpeg));
    EXPECT_TRUE(takes({.only = {"*.mov", "*.jpg"}}, jpeg));
    EXPECT_FALSE(takes({.only = {"*.mov", "*.jpg"}}, raw));
    EXPECT_FALSE(takes({.only = {"*.jpg"}, .except = {"DCIM/100CAM/*"}}, jpeg));
    EXPECT_TRUE(takes({.except = {"*.jpg"}}, raw));
    EXPECT_FALSE(FileSelection({.except = {"*.jpg"}}).takesAll());
}

TEST(FileSelection, TellsTypesByExtension) {
    const std::pair<const char16_t*, const char*> files[] = {
        {u"a.cr2", "raw"},     {u"A.DNG", "RAW"},   {u"d.jpg\\a.Nef", "raw"},
        {u"a.JPEG", "jpeg"},   {u"a.HIF", "heif"},  {u"a.mts", "video"},
        {u"a.b.MP4", "video"}, {u"a.WAV", "audio"}, {u"a.xmp", "other"},
        {u"a.jpg x", "other"}, {u"jpg", "other"},   {u"DCIM\\.jpg", "other"},
        {u"a.", "other"},      {u"", "other"}};
    const std::vector<std::string> words{"raw", "jpeg", "heif", "video", "audio", "other"};
    for (const auto& [path, type] : files) {
        std::string others;
        for (const std::string& word : words)
            if (!equalIgnoringCase(wideText(word), wideText(type)))
                others += (others.empty() ? "" : ",") + word;
        EXPECT_TRUE(takes({.types = {type}}, file(path))) << utf8Text(path);
        EXPECT_FALSE(takes({.types = {others}}, file(path))) << utf8Text(path);
    }
    EXPECT_TRUE(takes({.types = {"raw,video", "jpeg"}}, file(u"a.mov")));
}

TEST(FileSelection, LeavesNothingBehindBecauseOfAWrongClock) {
    const SelectionOptions day{.since = "2026-11-01"}, minute{.since = "2026-11-01T10:30"},
        second{.since = "2026-11-01T10:30:01"};
    const FileRecord before = file(u"a", "10/31/2026 23:59:59"),
                     morning = file(u"a", "11/01/2026 10:30:00", "10/31/2026 10:30:00");
    EXPECT_FALSE(takes(day, before));
    EXPECT_TRUE(takes(day, morning));
    EXPECT_TRUE(takes(minute, morning));
    EXPECT_FALSE(takes(second, morning));
    // Only when it was made is known, or that neither.
    EXPECT_FALSE(takes(day, file(u"a", "", "10/31/2026 10:30:00")));
    EXPECT_TRUE(takes(day, file(u"a")));
    EXPECT_TRUE(takes(day, file(u"a", "01/01/1980 00:00:00")));
    FileRecord undated = before;
    undated.modified.isNoDate = true;
    EXPECT_TRUE(takes(day, undated));
}

TEST(FileSelection, SaysWhatItCannotUnderstand) {
    const SelectionOptions refused[] = {
        {.only = {""}},
        {.only = {"[a-"}},
        {.except = {"[z-a]"}},
        {.except = {"[]"}},
        {.types = {"raws"}},
        {.types = {"raw,"}},
        {.types = {""}},
        {.since = "yesterday"},
        {.since = "2026-02-30"},
        {.since = "2026-11-01T24:00"},
        {.since = "2026-11-01T10"},
        {.since = "2026/11/01"},
        {.since = "2026-11-01T10:30:00Z"},
    };
    for (const SelectionOptions& options : refused) try {
            const FileSelection selection(options);
            ADD_FAILURE() << testing::PrintToString(options.only) << options.since
                          << testing::PrintToString(options.types);
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.status, ExitStatus::Usage);
            EXPECT_TRUE(failure.advice.ends_with('.')) << failure.advice;
        }
}

}  // namespace
}  // namespace zlk
