#include <gmock/gmock.h>
#include <sys/resource.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <thread>

#include "ZlkCamTr.h"
#include "tests/tools/CardTest.h"

namespace zlk::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

const std::string drives =
    "Software\\Zephyr-Lanthorn\\PictureSuite\\Import\\ProductClasses\\RemovableDrive";

class Unload : public CardTest {};

/// What the client says of the file with this name.
std::string errorOf(const JsonAnswer& result, const std::string& name) {
    for (const Json& file : result["files"].items)
        if (file["id"].text.ends_with(name)) return file["error"]["message"].text;
    return {};
}

TEST_F(Unload, copiesEveryFileComparesItAndKeepsItsTime) {
    const std::string longName(240, 'n');
    const struct {
        std::string onCard, copy, bytes;
    } files[] = {
        {"DCIM/100CAM/PICT0001.JPG", "DCIM/100CAM/PICT0001.JPG", bytesOf(200'001, 1)},
        {"DCIM/100CAM/EMPTY.JPG", "DCIM/100CAM/EMPTY.JPG", ""},
        {"MISC/AUTPRINT.MRK", "MISC/AUTPRINT.MRK", "[HDR]"},
        {".hidden/INSIDE.JPG", "_hidden/INSIDE.JPG", "in a hidden folder"},
        {"caf\xE9.JPG", "café.JPG", "latin 1"},
        {"up\\..\\..\\evil.JPG", "up_.._.._evil.JPG", "a backslash is part of this name"},
        {"a\nb\x1b[2J.JPG", "a_b_[2J.JPG", "control characters"},
        {longName + ".JPG", longName.substr(0, 216) + ".JPG", "long"},
    };
    for (const auto& file : files) {
        addFile(file.onCard, file.bytes);
        fs::last_write_time(card / file.onCard,
                            fs::file_time_type::clock::now() - std::chrono::hours(24 * 200));
    }
    const JsonAnswer result = expectJson(0, {"unload", "--verify", "E:", target});
    EXPECT_THAT(result["files"].each("verified"),
                testing::AllOf(testing::SizeIs(std::size(files)), testing::Each("true")));
    for (const auto& file : files) {
        EXPECT_EQ(readFile(target / file.copy), file.bytes);
        const auto apart =
            fs::last_write_time(target / file.copy) - fs::last_write_time(card / file.onCard);
        EXPECT_LT(std::chrono::abs(apart), std::chrono::seconds(1)) << file.copy;
    }
    EXPECT_EQ(torsos(), 0u);
}

TEST_F(Unload, writesToNoFileThatSomebodyPutsInPlaceOfACopy) {
    const fs::path mine = target.parent_path() / "mine";
    writeFile(mine, "mine");
    for (int i = 0; i < 30; ++i)
        addFile("DCIM/" + std::to_string(i) + ".JPG", bytesOf(200'000, static_cast<unsigned>(i)));
    fs::create_directories(target / "DCIM");
    std::atomic<bool> over = false;
    std::thread other([&] {
        std::error_code ignored;
        while (!over)
            for (const fs::path& file : hiddenCopies(target))
                if (!fs::is_symlink(file, ignored) && fs::remove(file, ignored))
                    fs::create_symlink(mine, file, ignored);
    });
    const JsonAnswer result = json({"unload", "--delete", "E:", target});
    over = true;
    other.join();
    EXPECT_EQ(readFile(mine), "mine");
    for (const Json& file : result["files"].items) {
        const bool isLink = fs::is_symlink(file["file"].text);
        EXPECT_FALSE(isLink && file["outcome"].text == "copied") << file["file"].text;
    }
}

TEST_F(Unload, neverTouchesADifferentFileOfTheSameNameAndCopiesNothingTwice) {
    addFile("DCIM/A.JPG", "from the card");
    addFile("OTHER/A.JPG", "another from the card");
    addFile("B.JPG", "the same");
    writeFile(target / "A.JPG", "the user's own");
    writeFile(target / "B.JPG", "the same");

    const std::vector<std::string> command{"unload", "--flat", target};
    EXPECT_EQ(zlkcam(command).status, 0);
    EXPECT_EQ(readFile(target / "A.JPG"), "the user's own");
    EXPECT_EQ(readFile(target / "A (2).JPG"), "from the card");
    EXPECT_EQ(readFile(target / "A (3).JPG"), "another from the card");
    EXPECT_FALSE(fs::exists(target / "B (2).JPG"));

    for (const char* option : {"--verify", "--new"}) {
        SCOPED_TRACE(option);
        const JsonAnswer again = expectJson(0, {"unload", "--flat", option, target});
        EXPECT_THAT(again["files"].each("outcome"), testing::Not(testing::Contains("copied")));
        EXPECT_EQ(copiesIn(target).size(), 4u);
    }
    // A picture with another content and the same name is new again.
    addFile("B.JPG", "has changed");
    EXPECT_EQ(zlkcam({"unload", "--flat", "--new", target}).status, 0);
    EXPECT_EQ(readFile(target / "B.JPG"), "the same");
    EXPECT_EQ(readFile(target / "B (2).JPG"), "has changed");
}

TEST_F(Unload, deletesOnlyWhatItVerifiedAndOnlyWhereThatIsAllowed) {
    addFile("A.JPG", bytesOf(70'000, 1));
    addFile("B.JPG", "b");
    ASSERT_EQ(zlkcam({"settings", "set", drives, "AllowDelete", "FALSE"}).status, 0);
    const JsonAnswer refused = expectJson(10, {"unload", "--delete", "E", target});
    EXPECT_THAT(refused["files"].each("deleted"), testing::Each("false"));
    EXPECT_TRUE(fs::exists(card / "A.JPG"));
    EXPECT_EQ(readFile(target / "A.JPG"), bytesOf(70'000, 1));

    // A file that was there is proved as one that is copied, whoever put it there.
    addFile("C.JPG", "c");
    writeFile(target / "C.JPG", "c");
    fs::permissions(target / "C.JPG", fs::perms::owner_read);
    addFile("D.JPG", "d");
    ASSERT_EQ(zlkcam({"settings", "delete", drives, "AllowDelete"}).status, 0);
    ASSERT_EQ(zlkcam({"mount", target, "--letter", "F"}).status, 0);
    const JsonAnswer result = expectJson(0, {"unload", "--delete", "E:", "F:"});
    EXPECT_THAT(result["files"].each("outcome"),
                ElementsAre("was there", "was there", "was there", "copied"));
    EXPECT_THAT(result["files"].each("proved"), testing::Each("true"));
    EXPECT_THAT(result["files"].each("deleted"), testing::Each("true"));
    EXPECT_EQ(readFile(target / "D.JPG"), "d");
    EXPECT_TRUE(fs::is_empty(card));
    EXPECT_EQ(readFile(target / "A.JPG"), bytesOf(70'000, 1));
    EXPECT_EQ(torsos(), 0u);
}

TEST_F(Unload, copiesByItsPathWhatHasMoreBytesThanAComponentCounts) {
    constexpr std::uintmax_t size = (4ull << 30) + 5;  // its list says 5 bytes
    if (fs::space(target).available < 2 * size) GTEST_SKIP() << "needs room on the disk";
    addHole("FOUR.MOV", size);
    std::fstream(card / "FOUR.MOV", std::ios::in | std::ios::out | std::ios::binary)
        .seekp(size - 3)
        .write("end", 3);
    const JsonAnswer result = expectJson(0, {"unload", "E", target});
    EXPECT_EQ(result["files"].each("size")[0], std::to_string(size));
    EXPECT_EQ(fs::file_size(target / "FOUR.MOV"), size);
    std::string end(3, ' ');
    std::ifstream(target / "FOUR.MOV", std::ios::binary).seekg(size - 3).read(end.data(), 3);
    EXPECT_EQ(end, "end");
}

TEST_F(Unload, neverTakesAnOriginalForItsOwnCopy) {
    addFile("DCIM/A.JPG", "the only one");
    addFile("B.JPG", "another only one");
    fs::create_directory_symlink(card, target / "alias");
    fs::create_directories(card / "backup/here");
    const fs::path byLetter = "Z:" + (target / "alias").string();
    for (const fs::path& folder :
         {card, target / "alias", card / "backup/here", byLetter, card / "new/deeper",
          fs::path("E:/new/deeper"), target / "alias/new"}) {
        EXPECT_EQ(zlkcam({"unload", "--delete", "E:", folder}).status, 6);
        EXPECT_EQ(std::distance(fs::recursive_directory_iterator(card), {}), 5);
    }
    EXPECT_EQ(zlkcam({"unload", "E:", ""}).status, 1);
    fs::create_symlink(card / "B.JPG", target / "B.JPG");
    for (const char* option : {"--new", "--delete"}) {
        const JsonAnswer result = expectJson(0, {"unload", option, "E:", target});
        EXPECT_EQ(readFile(target / "B (2).JPG"), "another only one");
        EXPECT_EQ(readFile(target / "DCIM/A.JPG"), "the only one");
    }
    EXPECT_FALSE(fs::exists(card / "B.JPG") || fs::exists(card / "DCIM/A.JPG"));
}

TEST_F(Unload, knowsAFolderOfTheCardThatIsMountedInASecondPlace) {
    addFile("DCIM/A.JPG", "a");
    const fs::path second = target / "a second place";
    fs::create_directories(second);
    if (::mount((card / "DCIM").c_str(), second.c_str(), nullptr, MS_BIND, nullptr) != 0)
        GTEST_SKIP() << "Only root may mount.";
    const fs::path folders[] = {second, second / "new", target};
    std::vector<int> results;
    for (const fs::path& folder : folders)
        results.push_back(zlkcam({"unload", "--flat", "--delete", "E:", folder}).status);
    ::umount2(second.c_str(), MNT_DETACH);
    EXPECT_THAT(results, ElementsAre(6, 6, 0)) << "but beside it";
    EXPECT_EQ(copiesIn(target), (std::vector<std::string>{"A.JPG"}));
}

TEST_F(Unload, takesNothingForCopiedThatLiesOnTheCardByALink) {
    addFile("B.JPG", "a double");
    addFile("DCIM/100CAM/A.JPG", "the only one");
    addFile("backup/B.JPG", "a double");
    fs::create_directory_symlink(card / "backup", target / "DCIM");
    fs::create_symlink(card / "backup/B.JPG", target / "B.JPG");
    const JsonAnswer result = expectJson(6, {"unload", "--delete", "E:", target});
    EXPECT_THAT(result["files"].each("deleted"), ElementsAre("true", "true", "false"));
    EXPECT_EQ(readFile(target / "B (2).JPG"), "a double");
    EXPECT_EQ(readFile(card / "DCIM/100CAM/A.JPG"), "the only one");
}

TEST_F(Unload, namesFoldersThatCannotBeReadAndWhatIsHidden) {
    addFile("DCIM/A.JPG", "a");
    addFile("DCIM/SHUT/B.JPG", "b");
    addFile("DCIM/.preview", "c");
    fs::permissions(card / "DCIM/SHUT", fs::perms::none);
    for (const Words& words : {Words{"list", "--json", "E:"},
                               {"thumbs", "--json", "E:", target},
                               {"unload", "--json", "--delete", "E:", target}}) {
        SCOPED_TRACE(words[0]);
        const ProgramResult result = withoutPrivileges(words);
        EXPECT_EQ(result.status, 4) << result.error;
        EXPECT_THAT(result.error, HasSubstr("SHUT can't be read"));
        const Json answer = Json::parse(result.output);
        EXPECT_THAT(answer["unread"].each("folder"), ElementsAre("E:\\DCIM\\SHUT"));
        EXPECT_EQ(answer["hiddenFiles"].text, "1");
    }
    fs::permissions(card / "DCIM/SHUT", fs::perms::owner_all);
    EXPECT_EQ(readFile(target / "DCIM/A.JPG"), "a");
    EXPECT_FALSE(fs::exists(card / "DCIM/A.JPG"));
    EXPECT_EQ(readFile(card / "DCIM/SHUT/B.JPG"), "b");
}

TEST_F(Unload, saysThatTheCardIsGoneWhereItWasPulledWhileItSettled) {
    ASSERT_EQ(zlkcam({"settings", "set", drives, "FileEnumTimeout", "1", "--type", "dword"}).status,
              0);
    RunningZlkCam client({"unload", "E:", target});
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    ASSERT_EQ(zlkcam({"unmount", "E"}).status, 0);
    client.expectEnd(9);
}

TEST_F(Unload, putsManyDifferentFilesOfOneNameAndSizeIntoOneFolder) {
    constexpr int count = 1500;
    for (int i = 0; i < count; ++i)
        addFile(std::to_string(i) + "/A.JPG", bytesOf(2000, static_cast<unsigned>(i)));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(zlkcam({"unload", "--flat", "E:", target}).status, 0);
    const auto took = std::chrono::steady_clock::now() - start;
    EXPECT_EQ(copiesIn(target).size(), count);
    // Comparing each with all before it would be a million reads of two files.
    EXPECT_LT(took, std::chrono::seconds(30));
}

/// Stops a client that is frozen.
JsonAnswer stopped(RunningZlkCam& client) {
    client.signal(SIGINT);
    // Reports are 250 ms apart at least; the next one after that time is heard.
    std::this_thread::sleep_for(std::chrono::milliseconds(260));
    client.signal(SIGCONT);
    return client.expectEnd(130);
}

TEST_F(Unload, aFileThatChangesWhileItIsCopiedFails) {
    addHole("B.MOV", 1ull << 30);
    RunningZlkCam client({"unload", target});
    freezeInside(client, target, "-B.MOV.part");
    fs::last_write_time(card / "B.MOV", fs::file_time_type::clock::now() + std::chrono::hours(1));
    client.signal(SIGCONT);
    const JsonAnswer result = client.expectEnd(4);
    EXPECT_THAT(errorOf(result, "B.MOV"), HasSubstr("changed while it was copied"));
    EXPECT_TRUE(fs::is_empty(target));
}

TEST_F(Unload, aStopRemovesTheHalfFileAndNamesIt) {
    addFile("A.JPG", "whole");
    addHole("B.MOV", 1ull << 30);
    addFile("C.JPG", "never reached");
    RunningZlkCam client({"unload", target});
    freezeInside(client, target, "-B.MOV.part");
    const JsonAnswer result = stopped(client);
    EXPECT_THAT(result["files"].each("outcome"), ElementsAre("copied", "failed", "not reached"));
    EXPECT_THAT(errorOf(result, "B.MOV"), HasSubstr("Stopped"));
    EXPECT_EQ(readFile(target / "A.JPG"), "whole");
    EXPECT_FALSE(fs::exists(target / "B.MOV"));
    EXPECT_EQ(torsos(), 0u);
}

TEST_F(Unload, aStopInTheSecondReadingLeavesNothing) {
    addHole("B.MOV", 1ull << 30);
    RunningZlkCam client({"unload", "--verify", target});
    freezeInside(client, target, "-B.MOV.part", 1ull << 30);
    stopped(client);
    EXPECT_TRUE(fs::is_empty(target));
}

TEST_F(Unload, deletesNothingWhoseCopyReadsBackFromTheDiskWithOtherBytes) {
    addHole("B.MOV", 300 << 20);
    RunningZlkCam client({"unload", "--delete", "E:", target});
    freezeInside(client, target, "-B.MOV.part", 300 << 20);
    for (const fs::path& file : hiddenCopies(target)) {
        std::fstream part(file, std::ios::in | std::ios::out | std::ios::binary);
        part.seekp(200 << 20).put('x');
    }
    client.signal(SIGCONT);
    const JsonAnswer result = client.expectEnd(11);
    EXPECT_THAT(errorOf(result, "B.MOV"), HasSubstr("reads back from the disk"));
    EXPECT_TRUE(fs::exists(card / "B.MOV"));
    EXPECT_TRUE(fs::is_empty(target));
}

TEST_F(Unload, saysWhatItProvedAndWhereItCouldOnlyReadItsMemory) {
    addFile("A.JPG", bytesOf(3'000'000, 1));
    addFile("EMPTY.JPG", "");
    const JsonAnswer plain = json({"unload", "E:", target});
    EXPECT_THAT(plain["files"].each("proved"), testing::Each("false"));
    EXPECT_EQ(plain["files"].each("xxh128")[1], "99aa06d3014798d86001c324468d497f");
    const JsonAnswer there = json({"unload", "--verify=copies", "E:", target});
    EXPECT_THAT(there["files"].each("outcome"), testing::Each("was there"));
    EXPECT_THAT(there["files"].each("proved"), testing::Each("true"));
    EXPECT_THAT(there["files"].each("verified"), testing::Each("false"));
    EXPECT_EQ(zlkcam({"unload", "--verify=once", "E:", target}).status, 1);

    const SmallDisk memory(target / "memory", "8m");
    if (!memory) GTEST_SKIP() << "needs a file system in memory";
    const JsonAnswer result = expectJson(0, {"unload", "--verify", "E:", target / "memory"});
    EXPECT_THAT(result["files"].each("proved"), testing::Each("true"));
    EXPECT_THAT(result["files"].each("verified"), testing::Each("true"));
    EXPECT_THAT(result["files"].each("fromMedium"), testing::Each("false"));
}

TEST_F(Unload, aFileBeyondWhatTheUserMayWriteFailsAlone) {
    addFile("A.JPG", "whole");
    addHole("B.MOV", 4 << 20);
    addFile("C.JPG", "whole");
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit room{1 << 20, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &room), 0);
    const JsonAnswer result = json({"unload", target});
    setrlimit(RLIMIT_FSIZE, &before);
    EXPECT_EQ(result.status, 6) << result.error;
    EXPECT_THAT(result["files"].each("outcome"), ElementsAre("copied", "failed", "copied"));
    EXPECT_EQ(torsos(), 0u);
}

TEST_F(Unload, knowsTheLargestFileThatASizeOf32BitsTells) {
    for (const fs::path& folder : {card, target}) {
        writeFile(folder / "MAX.MOV", "");
        fs::resize_file(folder / "MAX.MOV", 0xFFFFFFFF);
    }
    const JsonAnswer result = expectJson(0, {"unload", "--new", target});
    EXPECT_THAT(result["files"].each("outcome"), ElementsAre("skipped"));
}

TEST_F(Unload, aPulledCardEndsItAndTheWholeFilesAreTold) {
    addFile("A.JPG", "whole");
    addHole("B.MOV", 300ull << 20);
    addFile("C.JPG", "on the card only");
    RunningZlkCam client({"unload", "--delete", target});
    freezeInside(client, target, "-B.MOV.part");
    fs::rename(card, card.string() + ".pulled");
    client.signal(SIGCONT);
    const JsonAnswer result = client.expectEnd(9);
    EXPECT_THAT(result["files"].each("outcome"), ElementsAre("copied", "failed", "not reached"));
    EXPECT_EQ(readFile(target / "A.JPG"), "whole");
    EXPECT_TRUE(fs::exists(card.string() + ".pulled/A.JPG"));
    EXPECT_EQ(torsos(), 0u);

    expectJson(9, {"list", "E:"});
}

TEST_F(Unload, aFullTargetIsNamedAndKeepsWhatFitted) {
    const SmallDisk small(target, "1m");
    if (!small) GTEST_SKIP() << "needs the right to mount";
    addFile("A.JPG", bytesOf(300'000, 1));
    addFile("B.JPG", bytesOf(2'000'000, 2));
    const JsonAnswer result = expectJson(6, {"unload", "--verify", target});
    EXPECT_THAT(errorOf(result, "B.JPG"), HasSubstr("can't be written"));
    EXPECT_EQ(readFile(target / "A.JPG"), bytesOf(300'000, 1));
    EXPECT_FALSE(fs::exists(target / "B.JPG"));
    EXPECT_EQ(torsos(), 0u);
}

TEST_F(Unload, aTargetThatCannotBeUsedIsToldBeforeAnythingIsCopied) {
    addFile("A.JPG", "a");
    writeFile(target / "file", "no folder");
    fs::create_directory(target / "shut");
    fs::permissions(target / "shut", fs::perms::owner_read | fs::perms::owner_exec);
    for (const auto& [name, reason] : {std::pair("missing/deeper", ""),
                                       {"file", ""},
                                       {"shut", "denied"},
                                       {"shut/new", "denied"}}) {
        const fs::path folder = target / name;
        const ProgramResult result = withoutPrivileges({"unload", "--json", folder});
        EXPECT_EQ(result.status, 6) << name;
        EXPECT_THAT(Json::parse(result.output)["error"]["message"].text,
                    testing::AllOf(HasSubstr(folder.string()), HasSubstr(reason)));
    }
    // A file in the place of a folder of the card concerns what would lie in it, and is graver than
    // a picture that is protected.
    fs::permissions(card / "A.JPG", fs::perms::owner_read);
    writeFile(target / "DCIM", "a file");
    addFile("DCIM/B.JPG", "b");
    const JsonAnswer result = expectJson(6, {"unload", "--delete", target});
    EXPECT_THAT(errorOf(result, "A.JPG"), HasSubstr("refused to delete"));
    EXPECT_THAT(result["files"].each("outcome"), ElementsAre("copied", "failed"));
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
    for (const auto& command : std::vector<Words>{
             {"list", "E:"}, {"unload", "E:", target}, {"info"}, {"order"}, {"share"}}) {
        const JsonAnswer result = expectJson(2, command);
        EXPECT_THAT(result["error"]["message"].text, HasSubstr("another program"));
        EXPECT_THAT(result.error, HasSubstr("try again"));
    }
    EXPECT_EQ(zlkcam({"locked"}).status, 2);
    // A message gets through all the same.
    EXPECT_EQ(zlkcam({"escape", "MSDC_IsCardInserted"}).output, "TRUE\n");
    holder.kill();
    EXPECT_EQ(zlkcam({"locked"}).status, 0);
    EXPECT_EQ(zlkcam({"unload", "E:", target}).status, 0);
    EXPECT_EQ(readFile(target / "A.JPG"), "a");
}

}  // namespace
}  // namespace zlk::test
