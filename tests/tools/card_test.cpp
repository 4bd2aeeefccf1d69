#include <gmock/gmock.h>

#include "tests/tools/CardTest.h"

namespace zlk::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

class Card : public CardTest {};

TEST_F(Card, isNamedByIdOrLetterOrNotAtAllWhereThereIsOne) {
    addFile("A.JPG", "a");
    for (const char* name : {"E", "e:", "E:\\", "#Zephyr-Lanthorn#RemovableDrive#E",
                             "#zephyr-lanthorn#removabledrive#e"})
        EXPECT_EQ(zlkcam({"locked", name}).status, 0) << name;
    EXPECT_EQ(zlkcam({"locked"}).status, 0);
    for (const char* name : {"F", "nonsense", "#Zephyr-Lanthorn#RemovableDrive#F", "#", "##\\##"}) {
        const JsonAnswer result = expectJson(9, {"locked", name});
        EXPECT_THAT(result["error"]["advice"].text, HasSubstr("RemovableDrive#E"));
    }

    ASSERT_EQ(zlkcam({"mount", newFolder(), "--letter", "G", "--cdrom"}).status, 0);
    const JsonAnswer several = expectJson(1, {"locked"});
    EXPECT_THAT(several["error"]["advice"].text,
                testing::AllOf(HasSubstr("RemovableDrive#E"), HasSubstr("CDROMDrive#G")));
    EXPECT_EQ(zlkcam({"unmount", "g:"}).status, 0);
    EXPECT_EQ(zlkcam({"unmount", "G"}).status, 1);
    EXPECT_EQ(zlkcam({"unmount", "E"}).status, 0);
    EXPECT_EQ(zlkcam({"locked"}).status, 9);
    EXPECT_EQ(zlkcam({"devices", "--json"}).output, "{\"devices\":[],\"cameras\":[]}\n");
}

TEST_F(Card, listsAndDeletesByIdAndNothingThatItDoesNotList) {
    addFile("DCIM/A.JPG", "abc");
    addFile("odd\xE9\\name.JPG", "odd");
    const fs::path outside = newFolder() / "outside";
    writeFile(outside, "mine");

    const JsonAnswer listed = expectJson(0, {"list"});
    EXPECT_THAT(listed["files"].each("size"), ElementsAre("3", "3"));
    const std::vector<std::string> ids = listed["files"].each("id");
    ASSERT_THAT(ids, ElementsAre("E:\\DCIM\\A.JPG", testing::_));

    const JsonAnswer refused = expectJson(4, {"delete", outside, "E:\\MISSING"});
    EXPECT_THAT(refused["files"].each("failed"), ElementsAre("true", "true"));
    EXPECT_TRUE(fs::exists(outside));
    EXPECT_EQ(zlkcam({"delete", "E:", ids[1], ids[0]}).status, 0);
    EXPECT_EQ(std::distance(fs::directory_iterator(card), {}), 1);  // DCIM
    EXPECT_TRUE(fs::is_empty(card / "DCIM"));
}

TEST_F(Card, givesThumbnailsWithoutReplacingAnything) {
    addFile("DCIM/A.JPG", "no picture at all");
    fs::create_directory(target / "DCIM");
    writeFile(target / "DCIM/A.JPG.thumb.jpg", "mine");
    const JsonAnswer result = expectJson(0, {"thumbs", target});
    EXPECT_EQ(readFile(target / "DCIM/A.JPG.thumb.jpg"), "mine");
    EXPECT_THAT(readFile(target / "DCIM/A.JPG.thumb (2).jpg"), testing::StartsWith("\xFF\xD8"));
    EXPECT_EQ(torsos(), 0u);
}

TEST_F(Card, exchangesItsDocuments) {
    const fs::path text = newFolder() / "text";
    writeFile(text, "\xEF\xBB\xBF<order>é</order>");
    fs::create_directory(card / "MISC");

    EXPECT_EQ(zlkcam({"order"}).output, "\n");
    EXPECT_EQ(zlkcam({"order", "--set", text}).status, 0);
    EXPECT_EQ(readFile(card / "MISC/AUTPRINT.MRK"), "<order>é</order>");
    EXPECT_EQ(json({"order", "E"})["text"].text, "<order>é</order>");
    EXPECT_EQ(zlkcam({"order", "--clear"}).status, 0);
    EXPECT_FALSE(fs::exists(card / "MISC/AUTPRINT.MRK"));
    EXPECT_EQ(zlkcam({"order", "--clear"}).status, 10);

    EXPECT_EQ(zlkcam({"intent"}).status, 4);
    addFile("MISC/INTENT.XML", "<intent/>");
    EXPECT_EQ(zlkcam({"intent"}).output, "<intent/>\n");
    EXPECT_EQ(zlkcam({"intent", "--clear"}).status, 0);

    for (const auto& [word, stem] : {std::pair{"share", "SHARE"}, std::pair{"tags", "TAG"}}) {
        EXPECT_EQ(zlkcam({word}).status, 4);
        addFile(std::string("MISC/") + stem + "OLD.XML", "<old/>");
        EXPECT_EQ(zlkcam({word, "E:"}).output, "<old/>\n");
        EXPECT_EQ(zlkcam({word, "--set", text}).status, 0);
        EXPECT_EQ(readFile(card / "MISC" / (std::string(stem) + "NEW.XML")),
                  std::string("<order>é</order>\0", 18));
    }
    writeFile(text, "");
    EXPECT_EQ(zlkcam({"order", "--set", text}).status, 6);
    writeFile(text, "\xFF\xFE");
    EXPECT_EQ(zlkcam({"order", "--set", text}).status, 6);
    EXPECT_EQ(zlkcam({"order", "--set", text, "--clear"}).status, 1);
}

TEST_F(Card, answersEveryQuestionInJson) {
    addFile("A.JPG", "a");
    const std::string id = "#Zephyr-Lanthorn#RemovableDrive#E";
    const JsonAnswer info = json({"info"});
    EXPECT_EQ(info["name"].text, "WEDDING (E:)");
    EXPECT_EQ(info["lowLevelId"].text, "E:\\");
    EXPECT_EQ(info["media"].text, "true");
    EXPECT_EQ(info["allowDelete"].text, "true");
    EXPECT_EQ(json({"locked"})["locked"].text, "false");
    EXPECT_THAT(json({"mount"})["mounts"].each("label"), ElementsAre("WEDDING"));
    const auto translated = [](const std::string& kind, const std::string& text) {
        return json({"translate", kind, text})["answer"].text;
    };
    EXPECT_EQ(translated("lowlevel", id), "E:\\");
    EXPECT_EQ(translated("name", id), "WEDDING (E:)");
    EXPECT_EQ(translated("map", id), id);
    EXPECT_EQ(translated("progid", id), "ZlkCamTr.UnloadableCamera");
    EXPECT_EQ(translated("delete", id), "1");
    EXPECT_EQ(translated("vidpid", "USB\\VID_5AF1&PID_7C36"), "#Zephyr-Lanthorn#Cam539#0000");
    for (const char* kind : {"timeout", "config", "tagsetup"}) EXPECT_EQ(translated(kind, id), "0");
    for (const char* kind : {"port", "media", "tsb"})
        EXPECT_EQ(expectZlkcam(0, {"translate", kind, id}).output, "\n");
    EXPECT_EQ(zlkcam({"escape", "E:", "msdc_iscardinserted"}).output, "TRUE\n");
    EXPECT_EQ(zlkcam({"escape", "nonsense"}).status, 8);
}

TEST(Zlkcam, saysWhatIsWrongWithACommandLine) {
    for (const Words& words :
         {Words{}, Words{"nonsense"}, Words{"unload"}, Words{"unload", "--type", "film", "a"},
          Words{"list", "--nonsense"}, Words{"translate", "nonsense", "x"}, Words{"settings"},
          Words{"settings", "set", "k", "n", "x", "--type", "y"},
          Words{"settings", "list", "HKEY_USERS\\x"}, Words{"mount", "/", "--letter", "12"}}) {
        const JsonAnswer result = expectJson(1, words);
        EXPECT_FALSE(result.error.empty());
    }
    const ProgramResult help = expectZlkcam(0, {"--help"});
    EXPECT_THAT(help.output, HasSubstr("another program holds the device"));
}

}  // namespace
}  // namespace zlk::test
