#include <gmock/gmock.h>

#include "tests/tools/CardTest.h"

namespace zlk::test {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;

class Card : public CardTest {
  protected:
    void addSecondCard(const fs::path& folder, std::vector<std::string> options) const {
        options.insert(options.begin(), {"mount", folder.string()});
        const ProgramResult result = zlkcam(options);
        ASSERT_EQ(result.status, 0) << result.error;
    }
};

TEST_F(Card, isNamedByIdOrLetterOrNotAtAllWhereThereIsOne) {
    addFile("A.JPG", "a");
    for (const char* name : {"E", "e:", "E:\\", "#Zephyr-Lanthorn#RemovableDrive#E",
                             "#zephyr-lanthorn#removabledrive#e"})
        EXPECT_EQ(zlkcam({"locked", name}).status, 0) << name;
    EXPECT_EQ(zlkcam({"locked"}).status, 0);
    for (const char* name : {"F", "nonsense", "#Zephyr-Lanthorn#RemovableDrive#F", "#", "##\\##"}) {
        const ProgramResult result = zlkcam({"locked", "--json", name});
        EXPECT_EQ(result.status, 9) << name;
        EXPECT_THAT(Json::parse(result.output)["error"]["advice"].text,
                    HasSubstr("RemovableDrive#E"));
    }

    addSecondCard(newFolder(), {"--letter", "G", "--cdrom"});
    const ProgramResult several = zlkcam({"locked", "--json"});
    EXPECT_EQ(several.status, 1);
    EXPECT_THAT(Json::parse(several.output)["error"]["advice"].text,
                testing::AllOf(HasSubstr("RemovableDrive#E"), HasSubstr("CDROMDrive#G")));
    EXPECT_EQ(zlkcam({"unmount", "g:"}).status, 0);
    EXPECT_EQ(zlkcam({"unmount", "G"}).status, 1);
    EXPECT_EQ(zlkcam({"unmount", "E"}).status, 0);
    EXPECT_EQ(zlkcam({"locked"}).status, 9);
    EXPECT_EQ(zlkcam({"devices", "--json"}).output, "{\"devices\":[]}\n");
}

TEST_F(Card, ofAKnownCameraIsListedAsThatCamera) {
    addSecondCard(newFolder(), {"--letter", "G", "--label", "CAM", "--vendor", "ZL", "--product",
                                "GLIMMERBOX 283"});
    const Json devices = Json::parse(zlkcam({"devices", "--json"}).output)["devices"];
    EXPECT_THAT(devices.each("contextId"),
                ElementsAre("#Zephyr-Lanthorn#Cam283#0000", "#Zephyr-Lanthorn#RemovableDrive#E"));
    EXPECT_THAT(devices.each("name"), ElementsAre("CAM", "WEDDING (E:)"));
    EXPECT_THAT(devices.each("lowLevelId"), ElementsAre("G:\\", "E:\\"));
    EXPECT_EQ(zlkcam({"mount", card.string(), "--letter", "G"}).status, 1);
    EXPECT_EQ(zlkcam({"mount", (card / "missing").string()}).status, 6);
    EXPECT_EQ(zlkcam({"mount", card.string(), "--vendor", "ZL"}).status, 1);
    EXPECT_EQ(zlkcam({"mount", card.string(), "--letter", "A"}).status, 1);
}

TEST_F(Card, listsAndDeletesByIdAndNothingThatItDoesNotList) {
    addFile("DCIM/A.JPG", "abc");
    addFile("odd\xE9\\name.JPG", "odd");
    const fs::path outside = newFolder() / "outside";
    writeFile(outside, "mine");

    const ProgramResult listed = zlkcam({"list", "--json"});
    EXPECT_EQ(listed.status, 0);
    const Json files = Json::parse(listed.output)["files"];
    ASSERT_EQ(files.items.size(), 2u);
    EXPECT_EQ(files.items[0]["id"].text, "E:\\DCIM\\A.JPG");
    EXPECT_EQ(files.items[0]["size"].text, "3");
    const std::string odd = files.items[1]["id"].text;

    const ProgramResult refused = zlkcam({"delete", "--json", outside.string(), "E:\\MISSING"});
    EXPECT_EQ(refused.status, 4);
    EXPECT_THAT(Json::parse(refused.output)["files"].each("failed"), ElementsAre("true", "true"));
    EXPECT_TRUE(fs::exists(outside));
    EXPECT_EQ(zlkcam({"delete", "E:", odd, "E:\\DCIM\\A.JPG"}).status, 0);
    EXPECT_EQ(std::distance(fs::directory_iterator(card), {}), 1);  // DCIM
    EXPECT_TRUE(fs::is_empty(card / "DCIM"));
}

TEST_F(Card, givesThumbnailsWithoutReplacingAnything) {
    addFile("DCIM/A.JPG", "no picture at all");
    fs::create_directory(target / "DCIM");
    writeFile(target / "DCIM/A.JPG.thumb.jpg", "mine");
    const ProgramResult result = zlkcam({"thumbs", "--json", target.string()});
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_EQ(readFile(target / "DCIM/A.JPG.thumb.jpg"), "mine");
    EXPECT_THAT(readFile(target / "DCIM/A.JPG.thumb (2).jpg"), testing::StartsWith("\xFF\xD8"));
    EXPECT_EQ(torsos(), 0u);
}

TEST_F(Card, exchangesItsDocuments) {
    const fs::path text = newFolder() / "text";
    writeFile(text, "\xEF\xBB\xBF<order>é</order>");
    fs::create_directory(card / "MISC");

    EXPECT_EQ(zlkcam({"order"}).output, "\n");
    EXPECT_EQ(zlkcam({"order", "--set", text.string()}).status, 0);
    EXPECT_EQ(readFile(card / "MISC/AUTPRINT.MRK"), "<order>é</order>");
    EXPECT_EQ(Json::parse(zlkcam({"order", "--json", "E"}).output)["text"].text,
              "<order>é</order>");
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
        EXPECT_EQ(zlkcam({word, "--set", text.string()}).status, 0);
        EXPECT_EQ(readFile(card / "MISC" / (std::string(stem) + "NEW.XML")),
                  std::string("<order>é</order>\0", 18));
    }
    writeFile(text, "\xFF\xFE");
    EXPECT_EQ(zlkcam({"order", "--set", text.string()}).status, 6);
    EXPECT_EQ(zlkcam({"order", "--set", text.string(), "--clear"}).status, 1);
}

TEST_F(Card, answersEveryQuestionInJson) {
    addFile("A.JPG", "a");
    const std::string id = "#Zephyr-Lanthorn#RemovableDrive#E";
    const Json info = Json::parse(zlkcam({"info", "--json"}).output);
    EXPECT_EQ(info["name"].text, "WEDDING (E:)");
    EXPECT_EQ(info["lowLevelId"].text, "E:\\");
    EXPECT_EQ(info["media"].text, "true");
    EXPECT_EQ(info["allowDelete"].text, "true");
    EXPECT_EQ(Json::parse(zlkcam({"locked", "--json"}).output)["locked"].text, "false");
    EXPECT_THAT(Json::parse(zlkcam({"mount", "--json"}).output)["mounts"].each("label"),
                ElementsAre("WEDDING"));
    const struct {
        const char* kind;
        std::string text, answer;
    } translations[] = {
        {"lowlevel", id, "E:\\"},
        {"name", id, "WEDDING (E:)"},
        {"map", id, id},
        {"progid", id, "ZlkCamTr.UnloadableCamera"},
        {"delete", id, "1"},
        {"vidpid", "USB\\VID_5AF1&PID_7C36", "#Zephyr-Lanthorn#Cam539#0000"},
        {"timeout", id, "0"},
        {"port", id, ""},
        {"config", "", "0"},
        {"tagsetup", "", "0"},
        {"media", id, ""},
        {"tsb", id, ""},
        {"drive", "E", ""},
    };
    for (const auto& row : translations) {
        const ProgramResult result = zlkcam({"--json", "translate", row.kind, row.text});
        EXPECT_EQ(Json::parse(result.output)["answer"].text, row.answer) << row.kind;
    }
    EXPECT_EQ(zlkcam({"escape", "E:", "msdc_iscardinserted"}).output, "TRUE\n");
    EXPECT_EQ(zlkcam({"escape", "nonsense"}).status, 8);
}

TEST(Zlkcam, saysWhatIsWrongWithACommandLine) {
    for (const auto& words :
         std::vector<std::vector<std::string>>{{},
                                               {"nonsense"},
                                               {"unload"},
                                               {"unload", "a", "b", "c"},
                                               {"list", "--nonsense"},
                                               {"translate", "nonsense", "x"},
                                               {"settings"},
                                               {"settings", "set", "k", "n", "x", "--type", "y"},
                                               {"settings", "list", "HKEY_USERS\\x"},
                                               {"mount", "/", "--letter", "12"}}) {
        auto command = words;
        command.push_back("--json");
        const ProgramResult result = zlkcam(command);
        EXPECT_EQ(result.status, 1) << testing::PrintToString(words);
        EXPECT_EQ(Json::parse(result.output)["error"]["status"].text, "1");
        EXPECT_FALSE(result.error.empty());
    }
    EXPECT_EQ(zlkcam({"--help"}).status, 0);
    EXPECT_THAT(zlkcam({"--help"}).output, HasSubstr("another program holds the device"));
}

}  // namespace
}  // namespace zlk::test
