#include <gmock/gmock.h>
#include <signal.h>
#include <sys/mount.h>
#include <unistd.h>

#include <chrono>
#include <thread>

#include "ZlkCamTr.h"
#include "tests/tools/CardTest.h"

namespace zlk::test {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;

class Unload : public CardTest {};

std::vector<std::string> outcomesOf(const ProgramResult& result) {
    return Json::parse(result.output)["files"].each("outcome");
}

/// What the client says of the file with this name.
std::string errorOf(const ProgramResult& result, const std::string& name) {
    const Json document = Json::parse(result.output);
    for (const Json& file : document["files"].items)
        if (file["id"].text.ends_with(name)) return file["error"]["message"].text;
    return {};
}

TEST_F(Unload, copiesEveryFileComparesItAndKeepsItsTime) {
    const std::string picture = bytesOf(200'001, 1);
    const fs::path taken = addFile("DCIM/100CAM/PICT0001.JPG", picture);
    fs::last_write_time(taken, fs::file_time_type::clock::now() - std::chrono::hours(24 * 200));
    addFile("DCIM/100CAM/EMPTY.JPG", "");
    addFile("MISC/AUTPRINT.MRK", "[HDR]");
    addFile(".hidden/INSIDE.JPG", "in a hidden folder");
    addFile("caf\xE9.JPG", "latin 1");
    addFile("up\\..\\..\\evil.JPG", "a backslash is part of this name");
    addFile("a\nb\x1b[2J.JPG", "control characters");
    addFile(std::string(240, 'n') + ".JPG", "long");

    const ProgramResult result = zlkcam({"unload", "--json", "--verify", "E:", target.string()});
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_THAT(Json::parse(result.output)["files"].each("verified"),
                testing::AllOf(testing::SizeIs(8), testing::Each("true")));
    EXPECT_EQ(readFile(target / "DCIM/100CAM/PICT0001.JPG"), picture);
    const auto apart =
        fs::last_write_time(target / "DCIM/100CAM/PICT0001.JPG") - fs::last_write_time(taken);
    EXPECT_LT(std::chrono::abs(apart), std::chrono::seconds(1));
    EXPECT_EQ(readFile(target / "DCIM/100CAM/EMPTY.JPG"), "");
    EXPECT_EQ(readFile(target / "MISC/AUTPRINT.MRK"), "[HDR]");
    EXPECT_EQ(readFile(target / "_hidden/INSIDE.JPG"), "in a hidden folder");
    EXPECT_EQ(readFile(target / "café.JPG"), "latin 1");
    EXPECT_EQ(readFile(target / "up_.._.._evil.JPG"), "a backslash is part of this name");
    EXPECT_EQ(readFile(target / "a_b_[2J.JPG"), "control characters");
    EXPECT_EQ(readFile(target / (std::string(216, 'n') + ".JPG")), "long");
    EXPECT_EQ(torsos(), 0u);
}

TEST_F(Unload, neverTouchesADifferentFileOfTheSameNameAndCopiesNothingTwice) {
    addFile("DCIM/A.JPG", "from the card");
    addFile("OTHER/A.JPG", "another from the card");
    addFile("B.JPG", "the same");
    writeFile(target / "A.JPG", "the user's own");
    writeFile(target / "B.JPG", "the same");

    const std::vector<std::string> command{"unload", "--flat", target.string()};
    EXPECT_EQ(zlkcam(command).status, 0);
    EXPECT_EQ(readFile(target / "A.JPG"), "the user's own");
    EXPECT_EQ(readFile(target / "A (2).JPG"), "from the card");
    EXPECT_EQ(readFile(target / "A (3).JPG"), "another from the card");
    EXPECT_FALSE(fs::exists(target / "B (2).JPG"));

    for (const char* option : {"--verify", "--new"}) {
        SCOPED_TRACE(option);
        const ProgramResult again = zlkcam({"unload", "--flat", "--json", option, target.string()});
        EXPECT_EQ(again.status, 0);
        EXPECT_THAT(outcomesOf(again), testing::Not(testing::Contains("copied")));
        EXPECT_EQ(std::distance(fs::directory_iterator(target), {}), 4);
    }
    // A picture with another content and the same name is new again.
    addFile("B.JPG", "has changed");
    EXPECT_EQ(zlkcam({"unload", "--flat", "--new", target.string()}).status, 0);
    EXPECT_EQ(readFile(target / "B.JPG"), "the same");
    EXPECT_EQ(readFile(target / "B (2).JPG"), "has changed");
}

TEST_F(Unload, deletesOnlyWhatItVerifiedAndOnlyWhereThatIsAllowed) {
    addFile("A.JPG", bytesOf(70'000, 1));
    addFile("B.JPG", "b");
    addFile("FOUR.MOV", "");
    fs::resize_file(card / "FOUR.MOV", 5ull << 30);  // its list says 1 GiB

    const std::string key =
        "Software\\Zephyr-Lanthorn\\PictureSuite\\Import\\ProductClasses\\RemovableDrive";
    ASSERT_EQ(zlkcam({"settings", "set", key, "AllowDelete", "FALSE"}).status, 0);
    const ProgramResult refused = zlkcam({"unload", "--delete", "--json", "E", target.string()});
    EXPECT_EQ(refused.status, 7) << refused.error;
    EXPECT_THAT(Json::parse(refused.output)["files"].each("deleted"), testing::Each("false"));
    EXPECT_TRUE(fs::exists(card / "A.JPG"));
    EXPECT_EQ(fs::file_size(target / "A.JPG"), 70'000u);

    ASSERT_EQ(zlkcam({"settings", "delete", key, "AllowDelete"}).status, 0);
    const ProgramResult result = zlkcam({"unload", "--delete", "--json", "E", target.string()});
    EXPECT_EQ(result.status, 7) << result.error;
    EXPECT_EQ(Json::parse(result.output)["error"]["status"].text, "7");
    EXPECT_THAT(Json::parse(result.output)["files"].each("deleted"),
                ElementsAre("true", "true", "false"));
    EXPECT_THAT(errorOf(result, "FOUR.MOV"), HasSubstr("4 GiB"));
    EXPECT_FALSE(fs::exists(card / "A.JPG"));
    EXPECT_FALSE(fs::exists(card / "B.JPG"));
    EXPECT_EQ(fs::file_size(card / "FOUR.MOV"), 5ull << 30);
    EXPECT_FALSE(fs::exists(target / "FOUR.MOV"));
    EXPECT_EQ(readFile(target / "A.JPG"), bytesOf(70'000, 1));
    EXPECT_EQ(torsos(), 0u);
}

TEST_F(Unload, neverTakesAnOriginalForItsOwnCopy) {
    addFile("DCIM/A.JPG", "the only one");
    addFile("B.JPG", "another only one");
    fs::create_directory_symlink(card, target / "alias");
    for (const fs::path& folder : {card, target / "alias"}) {
        EXPECT_EQ(zlkcam({"unload", "--delete", "E:", folder.string()}).status, 6);
        EXPECT_EQ(std::distance(fs::recursive_directory_iterator(card), {}), 3);
    }
    fs::create_symlink(card / "B.JPG", target / "B.JPG");
    const ProgramResult result = zlkcam({"unload", "--delete", "--json", "E:", target.string()});
    EXPECT_THAT(outcomesOf(result), ElementsAre("was there", "copied"));
    EXPECT_EQ(readFile(card / "B.JPG"), "another only one");
    EXPECT_FALSE(fs::exists(card / "DCIM/A.JPG"));
    EXPECT_EQ(readFile(target / "DCIM/A.JPG"), "the only one");
}

/// Waits for the first bytes of a copy, and stops the client there.
void freezeInside(const RunningZlkCam& client, const fs::path& part) {
    std::error_code none;
    while (!fs::exists(part, none) || fs::file_size(part, none) == 0) std::this_thread::yield();
    client.signal(SIGSTOP);
}

TEST_F(Unload, aStopRemovesTheHalfFileAndNamesIt) {
    addFile("A.JPG", "whole");
    addFile("B.MOV", "");
    fs::resize_file(card / "B.MOV", 1ull << 30);
    addFile("C.JPG", "never reached");
    RunningZlkCam client({"unload", "--json", target.string()});
    freezeInside(client, target / ".zlkcam-B.MOV.part");
    client.signal(SIGINT);
    // Reports are 250 ms apart at least; the next one after that time is heard.
    std::this_thread::sleep_for(std::chrono::milliseconds(260));
    client.signal(SIGCONT);
    const ProgramResult result = client.wait();
    EXPECT_EQ(result.status, 130);
    EXPECT_THAT(outcomesOf(result), ElementsAre("copied", "failed", "not reached"));
    EXPECT_THAT(errorOf(result, "B.MOV"), HasSubstr("Stopped"));
    EXPECT_EQ(readFile(target / "A.JPG"), "whole");
    EXPECT_FALSE(fs::exists(target / "B.MOV"));
    EXPECT_EQ(torsos(), 0u);
}

TEST_F(Unload, aPulledCardEndsItAndTheWholeFilesAreTold) {
    addFile("A.JPG", "whole");
    addFile("B.MOV", "");
    fs::resize_file(card / "B.MOV", 300ull << 20);
    addFile("C.JPG", "on the card only");
    RunningZlkCam client({"unload", "--json", "--delete", target.string()});
    freezeInside(client, target / ".zlkcam-B.MOV.part");
    fs::rename(card, card.string() + ".pulled");
    client.signal(SIGCONT);
    const ProgramResult result = client.wait();
    EXPECT_EQ(result.status, 9);
    EXPECT_THAT(outcomesOf(result), ElementsAre("copied", "failed", "not reached"));
    EXPECT_EQ(readFile(target / "A.JPG"), "whole");
    EXPECT_TRUE(fs::exists(card.string() + ".pulled/A.JPG"));
    EXPECT_EQ(torsos(), 0u);

    const ProgramResult gone = zlkcam({"list", "--json", "E:"});
    EXPECT_EQ(gone.status, 9);
    EXPECT_EQ(Json::parse(gone.output)["error"]["status"].text, "9");
}

TEST_F(Unload, aFullTargetIsNamedAndKeepsWhatFitted) {
    if (geteuid() != 0 || mount("tmpfs", target.c_str(), "tmpfs", 0, "size=1m") != 0)
        GTEST_SKIP() << "needs the right to mount";
    addFile("A.JPG", bytesOf(300'000, 1));
    addFile("B.JPG", bytesOf(2'000'000, 2));
    const ProgramResult result = zlkcam({"unload", "--json", "--verify", target.string()});
    EXPECT_EQ(result.status, 6) << result.error;
    EXPECT_THAT(errorOf(result, "B.JPG"), HasSubstr("can't be written"));
    EXPECT_EQ(readFile(target / "A.JPG"), bytesOf(300'000, 1));
    EXPECT_FALSE(fs::exists(target / "B.JPG"));
    EXPECT_EQ(torsos(), 0u);
    umount2(target.c_str(), MNT_DETACH);
}

TEST_F(Unload, aTargetThatCannotBeUsedIsToldBeforeAnythingIsCopied) {
    addFile("A.JPG", "a");
    writeFile(target / "file", "no folder");
    for (const fs::path& folder : {target / "missing" / "deeper", target / "file"}) {
        const ProgramResult result = zlkcam({"unload", "--json", folder.string()});
        EXPECT_EQ(result.status, 6);
        EXPECT_THAT(Json::parse(result.output)["error"]["message"].text,
                    HasSubstr(folder.string()));
    }
    // A file in the place of a folder of the card concerns what would lie in it.
    writeFile(target / "DCIM", "a file");
    addFile("DCIM/B.JPG", "b");
    const ProgramResult result = zlkcam({"unload", "--json", target.string()});
    EXPECT_EQ(result.status, 6);
    EXPECT_THAT(outcomesOf(result), ElementsAre("copied", "failed"));
    EXPECT_EQ(readFile(target / "DCIM"), "a file");
}

ZLK_CHILD(holdsTheCard) {
    ComPtr<IPhotoDevice> camera;
    if (FAILED(camera.create(u"ZlkCamTr.UnloadableCamera"))) return 1;
    if (camera->LockDevice(Bstr(u"#Zephyr-Lanthorn#RemovableDrive#E").get()) != S_OK) return 2;
    child.say("held");
    child.hear();
    return 0;
}

TEST_F(Unload, aDeviceHeldByAnotherProcessIsToldAndWorksOnceThatIsKilled) {
    addFile("A.JPG", "a");
    ChildProcess holder("holdsTheCard");
    ASSERT_EQ(holder.hear(), "held");
    for (const auto& command : std::vector<std::vector<std::string>>{
             {"list", "E:"}, {"unload", "E:", target.string()}, {"info"}, {"order"}, {"share"}}) {
        auto words = command;
        words.push_back("--json");
        const ProgramResult result = zlkcam(words);
        EXPECT_EQ(result.status, 2) << command[0];
        EXPECT_THAT(Json::parse(result.output)["error"]["message"].text,
                    HasSubstr("another program"));
        EXPECT_THAT(result.error, HasSubstr("try again"));
    }
    EXPECT_EQ(zlkcam({"locked"}).status, 2);
    // A message gets through all the same.
    EXPECT_EQ(zlkcam({"escape", "MSDC_IsCardInserted"}).output, "TRUE\n");
    holder.kill();
    EXPECT_EQ(zlkcam({"locked"}).status, 0);
    EXPECT_EQ(zlkcam({"unload", "E:", target.string()}).status, 0);
    EXPECT_EQ(readFile(target / "A.JPG"), "a");
}

}  // namespace
}  // namespace zlk::test
