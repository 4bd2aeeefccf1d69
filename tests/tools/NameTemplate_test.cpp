#include "tools/zlkcam/unload/NameTemplate.h"

#include <gmock/gmock.h>

#include "platform/text.h"
#include "tools/zlkcam/Failure.h"
#include "tools/zlkcam/unload/SafeName.h"

namespace zlk {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

NameFields shot(std::u16string path = u"\\DCIM\\100CAM\\IMG_1.JPG") {
    return {std::move(path), u"ZL Cam 539", 7, LocalTime{2026, 11, 1, 9, 5, 3}};
}

std::string placeOf(const std::string& text, const NameFields& fields = shot()) {
    return NameTemplate(text).apply(fields);
}

TEST(SafeName, IsWholeAndHarmless) {
    EXPECT_EQ(safeName(u""), "_");
    EXPECT_EQ(safeName(u"."), "_");
    EXPECT_EQ(safeName(u".."), "_.");
    EXPECT_EQ(safeName(u"a/b\\c\x1b\x202E.jpg"), "a_b_c__.jpg");
    EXPECT_EQ(safeName(u"\xF0E9\xF041"), "é_");
    EXPECT_EQ(safeName(u"\xD800.jpg"), "\uFFFD.jpg");
    for (const std::u16string_view unit : {u"a", u"é", u"€", u"\xD83D\xDCF7"}) {
        std::u16string longName = u"x";
        for (int i = 0; i < 300; ++i) longName += unit;
        for (const std::u16string_view extension : {u"", u".JPG", u".a name with a dot in it"}) {
            const std::string name = safeName(longName + std::u16string(extension));
            EXPECT_LE(name.size(), 220u);
            EXPECT_GT(name.size(), 216u);
            EXPECT_EQ(name.ends_with(".JPG"), extension == u".JPG");
            EXPECT_THAT(name, testing::Not(HasSubstr("\uFFFD")));
            EXPECT_EQ(safeName(wideText(name)), name);
        }
    }
}

TEST(SafeName, SplitsAPathAtBothSlashes) {
    EXPECT_THAT(safePath(u"\\DCIM/..//a.jpg"), ElementsAre("DCIM", "_.", "a.jpg"));
    EXPECT_THAT(safePath(u"DCIM\\"), ElementsAre("DCIM", "_"));
    EXPECT_THAT(safePath(u"/"), ElementsAre("_"));
    EXPECT_THAT(safePath(u""), ElementsAre("_"));
}

TEST(NameTemplate, FillsInEachField) {
    const std::pair<const char*, const char*> cases[] = {
        {defaultTemplate, "DCIM/100CAM/IMG_1.JPG"},
        {flatTemplate, "IMG_1.JPG"},
        {"{date:%Y}/{date:%Y-%m-%d}/{name}", "2026/2026-11-01/IMG_1.JPG"},
        {"{date:%y%m%d_%H%M%S%%}", "261101_090503%.JPG"},
        {"{date}/{folder}_{name}", "2026-11-01/100CAM_IMG_1.JPG"},
        {"{date:%Y/%m}/{stem}.{ext}", "2026/11/IMG_1.JPG"},
        {"{camera}/{counter}", "ZL Cam 539/7.JPG"},
        {"a//{{{counter:04}}}", "a/{0007}.JPG"},
        {"{path}_{name}", "DCIM/100CAM_IMG_1.JPG"},
        {"{name}/{counter:01}_{date:%d}", "IMG_1.JPG/7_01.JPG"},
        {"{name}.bak", "IMG_1.JPG.bak.JPG"},
        {"B\xC3\xA9\xE9/{name}", "Béé/IMG_1.JPG"},
    };
    for (const auto& [text, place] : cases) EXPECT_EQ(placeOf(text), place) << text;
    EXPECT_TRUE(NameTemplate("{date}/{name}").needsDate());
    EXPECT_FALSE(NameTemplate(defaultTemplate).needsDate());
    NameFields undated = shot();
    undated.date.reset();
    EXPECT_EQ(placeOf("{date:%Y}/{name}", undated), "undated/IMG_1.JPG");
}

TEST(NameTemplate, NeverLeavesTheFolderWhateverTheDeviceSays) {
    NameFields hostile = shot(u"..\\../.\\a\x1b.J\nPG");
    hostile.camera = u"../../etc";
    const std::pair<const char*, const char*> cases[] = {
        {defaultTemplate, "_./_./_/a_.J_PG"},
        {"{camera}/{folder}/{stem}.{ext}", "_._.._etc/_/a_.J_PG"},
        {"{date:..}/{name}", "_./a_.J_PG"},
    };
    for (const auto& [text, place] : cases) EXPECT_EQ(placeOf(text, hostile), place) << text;
    // Without an extension, what stood in front of it stays no name of a folder above.
    const NameFields bare = shot(u"IMG");
    EXPECT_EQ(placeOf("{stem}.{ext}", bare), "IMG");
    EXPECT_EQ(placeOf("{ext}/{name}", bare), "IMG");
    EXPECT_EQ(placeOf("{ext}", bare), "_");
    EXPECT_EQ(placeOf("{path}/{folder}/{name}", bare), "IMG");
    EXPECT_EQ(placeOf("{path}/{name}", shot(u"DCIM\\")), "DCIM/_");
    const std::string longPlace =
        placeOf("{stem}{stem}", shot(std::u16string(200, u'é') + u".CR2"));
    EXPECT_EQ(longPlace.size(), 220u);
    EXPECT_TRUE(longPlace.ends_with("é.CR2"));
}

TEST(NameTemplate, SaysWhatItCannotUse) {
    const std::pair<const char*, const char*> refused[] = {
        {"", "empty"},
        {"/{name}", "leads out"},
        {"E:{name}", "leads out"},
        {"../{name}", "dot"},
        {"a/../{name}", "dot"},
        {"a/.b/{name}", "dot"},
        {"a\\{name}", "separated by a /"},
        {"{name}/", "last part"},
        {"{date:%Y/}", "slash"},
        {"a/{path}", "last part"},
        {"a/{folder}", "last part"},
        {"{nam}", "no field {nam}"},
        {"{}", "no field {}"},
        {"{Name}", "no field {Name}"},
        {"{name", "isn't closed"},
        {"name}", "closes no field"},
        {"{name:x}", "colon"},
        {"{date:%B}", "%B"},
        {"{date:%}", "and not %"},
        {"{counter:4}", "{counter:04}"},
        {"{counter:00}", "{counter:04}"},
    };
    for (const auto& [text, reason] : refused) try {
            const NameTemplate parsed(text);
            ADD_FAILURE() << text;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.status, ExitStatus::Usage);
            EXPECT_THAT(failure.what(), HasSubstr(reason)) << text;
            EXPECT_THAT(failure.advice, HasSubstr("{camera}"));
        }
}

}  // namespace
}  // namespace zlk
