// What an unloading plans, does in several folders at once, records, and knows of earlier runs.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <sstream>
#include <thread>

#include "tests/tools/CardTest.h"

namespace zlk::test {
namespace {

using testing::AnyOf;
using testing::ElementsAre;
using testing::HasSubstr;

class UnloadSteps : public CardTest {};

/// Kills a run once it has noted down a file that it has copied. On a busy machine it has copied
/// some more by then.
void unloadAndBeKilled(const fs::path& folder) {
    const RunningZlkCam killed({"unload", "E:", folder});
    for (;; std::this_thread::yield())
        for (const fs::path& file : hiddenCopies(folder)) {
            std::error_code none;
            if (file.filename() == "journal" && fs::file_size(file, none) > 0 && !none) return;
        }
}

TEST_F(UnloadSteps, goesOnWhereAKilledRunStoppedAndLeavesNothingOfIt) {
    addFile("A.JPG", bytesOf(100'000, 1));
    addHole("B.MOV", 300 << 20);
    addFile("C.JPG", "c");
    unloadAndBeKilled(target);
    EXPECT_GE(torsos(), 1u);
    // A run that lives holds its folder locked.
    const fs::path living = target / ".zlkcam-01234567", foreign = target / ".zlkcam-of-mine";
    for (const fs::path& folder : {living, foreign}) fs::create_directory(folder);
    const int lock = ::open(living.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_EQ(::flock(lock, LOCK_EX), 0);

    const auto before = fs::last_write_time(target / "A.JPG");
    const JsonAnswer result = json({"unload", "--delete", "E:", target});
    ::close(lock);
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_THAT(
        result["files"].each("outcome"),
        ElementsAre("was there", AnyOf("copied", "was there"), AnyOf("copied", "was there")));
    EXPECT_THAT(result["files"].each("deleted"), testing::Each("true"));
    EXPECT_EQ(fs::last_write_time(target / "A.JPG"), before);
    EXPECT_EQ(readFile(target / "A.JPG"), bytesOf(100'000, 1));
    EXPECT_FALSE(fs::exists(target / "A (2).JPG"));
    EXPECT_TRUE(fs::remove(living) && fs::remove(foreign));
    EXPECT_EQ(torsos(), 0u);
    // The record tells of what both have copied.
    const std::string manifest = readFile(result["destinations"].each("manifest")[0]);
    for (const char* const name : {">A.JPG<", ">B.MOV<", ">C.JPG<"})
        EXPECT_THAT(manifest, HasSubstr(name));
}

TEST_F(UnloadSteps, copiesAgainWhatAPowerCutHasCutOff) {
    addFile("A.JPG", bytesOf(100'000, 1));
    addHole("B.MOV", 300 << 20);
    unloadAndBeKilled(target);
    fs::resize_file(target / "A.JPG", 4096);
    expectJson(0, {"unload", "E:", target});
    EXPECT_EQ(readFile(target / "A (2).JPG"), bytesOf(100'000, 1));
}

TEST_F(UnloadSteps, makesTheSumsThatAKilledRunWasNotAskedFor) {
    addFile("A.JPG", bytesOf(100'000, 1));
    addFile("B.JPG", "b");
    addHole("C.MOV", 300 << 20);
    unloadAndBeKilled(target);
    fs::remove(card / "A.JPG");
    const JsonAnswer result =
        expectJson(0, {"unload", "--manifest", "sums", "--sum", "sha256", "E:", target});
    EXPECT_EQ(copiesIn(target).size(), 4u) << "three files and their sums";
    const fs::path sums = result["destinations"].each("manifest")[0];
    EXPECT_THAT(readFile(sums), HasSubstr("A.JPG"));
    EXPECT_EQ(
        runProgram({"/bin/sh", "-c", "cd \"$0\" && sha256sum -c --strict \"$1\"", target, sums})
            .status,
        0);
}

TEST_F(UnloadSteps, deletesNothingThatAKilledRunCopiedAndTheCardHasOtherwiseNow) {
    const fs::path picture = addFile("A.JPG", bytesOf(100'000, 1));
    addHole("B.MOV", 300 << 20);
    unloadAndBeKilled(target);
    const auto time = fs::last_write_time(picture);
    writeFile(picture, bytesOf(100'000, 2));
    fs::last_write_time(picture, time);
    fs::remove(card / "B.MOV");
    const JsonAnswer result = expectJson(11, {"unload", "--delete", "E:", target});
    EXPECT_EQ(readFile(picture), bytesOf(100'000, 2));
    // It is another picture, as the next run finds.
    EXPECT_EQ(json({"unload", "--delete", "E:", target}).status, 0);
    EXPECT_EQ(readFile(target / "A (2).JPG"), bytesOf(100'000, 2));
}

TEST_F(UnloadSteps, readsEachFileOnceForAllFoldersAndGoesOnWithoutOneThatFails) {
    const fs::path small = newFolder(), other = target / "other", third = target / "third";
    const SmallDisk disk(small, "1m");
    if (!disk) GTEST_SKIP() << "needs the right to mount";
    for (int i = 0; i < 4; ++i)
        addFile("DCIM/" + std::to_string(i) + ".JPG", bytesOf(400'000, static_cast<unsigned>(i)));
    const JsonAnswer result = expectJson(6, {"unload", "--delete", "E:", other, small, third});
    EXPECT_THAT(result.error, HasSubstr(small.string()));
    for (int i = 0; i < 4; ++i) {
        const std::string name = "DCIM/" + std::to_string(i) + ".JPG";
        for (const fs::path& folder : {other, third, card})
            EXPECT_EQ(readFile(folder / name), bytesOf(400'000, static_cast<unsigned>(i)));
    }
    EXPECT_THAT(result["files"].each("deleted"), testing::Each("false"));
    for (const Json& file : result["files"].items)
        EXPECT_EQ(file["copies"].each("proved")[0], "true");
    EXPECT_EQ(torsos(), 0u);

    const JsonAnswer both = expectJson(0, {"unload", "--delete", "E:", other, third});
    EXPECT_THAT(both["files"].each("deleted"), testing::Each("true"));
}

TEST_F(UnloadSteps, refusesFoldersThatAreOneAndMakesNoneOfThem) {
    addFile("A.JPG", "a");
    fs::create_directory(target / "there");
    fs::create_directory_symlink(target / "there", target / "alias");
    const std::vector<std::pair<fs::path, fs::path>> pairs{{target / "there", target / "alias"},
                                                           {target / "there/new", target / "there"},
                                                           {target / "new", target / "new"},
                                                           {target / "there", target / "there/new"},
                                                           {target / "new", target / "missing/x"}};
    for (const auto& [a, b] : pairs) {
        EXPECT_NE(zlkcam({"unload", "E:", a, b}).status, 0) << a << b;
        EXPECT_FALSE(fs::exists(target / "new") || fs::exists(target / "there/new")) << a << b;
    }
}

TEST_F(UnloadSteps, knowsWhatItTookThoughItWasMovedOrRenamed) {
    addFile("DCIM/A.JPG", bytesOf(1000, 1));
    addFile("DCIM/B.JPG", bytesOf(1000, 2));
    ASSERT_EQ(zlkcam({"unload", "E:", target}).status, 0);
    fs::rename(target / "DCIM/A.JPG", target / "the best one.jpg");
    const JsonAnswer again = json({"unload", "--new", "E:", target});
    EXPECT_THAT(again["files"].each("outcome"), testing::Each("skipped"));
    EXPECT_EQ(copiesIn(target).size(), 2u);
    // A new picture that took the old one's name, size and time is none that was taken.
    addFile("OTHER/A.JPG", bytesOf(1000, 3));
    fs::last_write_time(card / "OTHER/A.JPG", fs::last_write_time(card / "DCIM/A.JPG"));
    EXPECT_EQ(zlkcam({"unload", "--new", "E:", target}).status, 0);
    EXPECT_EQ(copiesIn(target).size(), 3u);
}

TEST_F(UnloadSteps, putsFilesWhereTheTemplateSaysAndKeepsAShotTogether) {
    addFile("DCIM/100CAM/IMG_1.JPG", bytesOf(1000, 1));
    addFile("DCIM/100CAM/IMG_1.CR2", bytesOf(2000, 2));
    addFile("DCIM/100CAM/CLIP.MOV", bytesOf(3000, 3));
    fs::create_directories(target / "100CAM");
    writeFile(target / "100CAM/IMG_1.CR2", "another one");
    const JsonAnswer plan =
        expectJson(0, {"unload", "--dry-run", "--to", "{folder}/{name}", "E:", target});
    EXPECT_THAT(plan["plan"].items, testing::SizeIs(3));
    EXPECT_EQ(copiesIn(target).size(), 1u);
    EXPECT_EQ(torsos(), 0u);

    ASSERT_EQ(
        zlkcam({"unload", "--type", "raw,jpeg", "--to", "{folder}/{name}", "E:", target}).status,
        0);
    EXPECT_EQ(readFile(target / "100CAM/IMG_1 (2).JPG"), bytesOf(1000, 1));
    EXPECT_EQ(readFile(target / "100CAM/IMG_1 (2).CR2"), bytesOf(2000, 2));
    EXPECT_EQ(copiesIn(target).size(), 3u);
    for (const char* const place : {"../{name}", "/{name}", "{nonsense}", ""})
        EXPECT_EQ(zlkcam({"unload", "--to", place, "E:", target}).status, *place ? 1 : 0) << place;
}

TEST_F(UnloadSteps, streamsAnObjectForEachEventAndEndsWithTheAnswer) {
    addFile("A.JPG", bytesOf(1000, 1));
    addFile("B.JPG", bytesOf(1000, 2));
    const ProgramResult result =
        expectZlkcam(0, {"--json", "unload", "--progress", "--verify=copies", "E:", target});
    std::istringstream lines(result.output);
    std::vector<Json> events;
    for (std::string line; std::getline(lines, line);) events.push_back(Json::parse(line));
    ASSERT_GE(events.size(), 4u);
    EXPECT_EQ(events.front()["event"].text, "start");
    EXPECT_EQ(
        std::ranges::count_if(events, [](const Json& e) { return e["event"].text == "file"; }), 2);
    EXPECT_THAT(events.back()["files"].each("proved"), testing::Each("true"));
    EXPECT_EQ(zlkcam({"unload", "--quiet", "E:", target}).output, "");
}

}  // namespace
}  // namespace zlk::test
