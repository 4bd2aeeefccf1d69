// What the client says where a disk fails under it. zlk-faults has one of its calls fail.

#include <gmock/gmock.h>

#include "tests/tools/CardTest.h"
#include "tests/tools/History.h"

namespace zlk::test {
namespace {

class DiskErrors : public CardTest {
  protected:
    /// What the client answers when its n-th call of this kind below the folder fails.
    struct Answer {
        int status;
        std::string output;
        std::string hit;  ///< the call that failed; empty if there was no n-th one
    };
    static Answer withError(const fs::path& below, const std::string& kind, int nth,
                            const Words& words) {
        const fs::path report = newFolder() / "report";
        Words command{programFolder() / "zlk-faults",
                      "--below",
                      below,
                      "--report",
                      report,
                      "--kind",
                      kind,
                      "--nth",
                      std::to_string(nth),
                      "--fault",
                      "EIO",
                      "--",
                      programFolder() / "zlkcam",
                      "--json"};
        command.insert(command.end(), words.begin(), words.end());
        const ProgramResult result = runProgram(command);
        if (result.status == 77) return {77, {}, {}};
        return {result.status, result.output, Json::parse(readFile(report))["hit"].text};
    }
};

// The component walks the card first, and takes a folder that it can't read for empty.
TEST_F(DiskErrors, aFolderThatIsReadInPartIsNamed) {
    for (const char* name : {"R.JPG", "DCIM/A.JPG", "DCIM/B.JPG"}) addFile(name, "a");
    int named = 0, nth = 3;  // after the component's reading of the root folder
    for (;; ++nth) {
        const Answer answer = withError(card, "list", nth, {"list", "E:"});
        if (answer.status == 77) GTEST_SKIP() << "The kernel doesn't let its calls be asked about.";
        if (answer.hit.empty()) break;
        named += answer.status == 4;
        if (answer.status != 4) {
            EXPECT_EQ(Json::parse(answer.output)["files"].items.size(), 3u) << nth << answer.hit;
        }
    }
    EXPECT_EQ(nth, 9) << "two folders, twice, each read to its end";
    EXPECT_EQ(named, 5) << "a part of the component's list, and all errors of the walk after it";
}

TEST_F(DiskErrors, noCopyCountsAsProvedThatTheDiskDoesNotGiveBack) {
    addFile("A.JPG", bytesOf(300'000, 1));
    for (int nth = 1;; ++nth) {
        const fs::path copies = newFolder();
        // In memory nothing makes room for others, so that each copy is read back directly.
        const SmallDisk disk(copies, "4m");
        const Answer answer =
            withError(copies, "read", nth, {"unload", "--verify=copies", "E:", copies});
        if (answer.status == 77) GTEST_SKIP() << "The kernel doesn't let its calls be asked about.";
        if (answer.hit.empty()) {
            EXPECT_GT(nth, 1) << "a proof that reads nothing";
            break;
        }
        EXPECT_NE(answer.status, 0) << nth << ' ' << answer.hit << answer.output;
    }
}

// The chain file is flushed once more after it has taken its name, so that a run may fail although
// its manifest is listed.
TEST_F(DiskErrors, noListedManifestIsTakenBack) {
    addFile("A.JPG", "a");
    int listed = 0;
    for (int nth = 1;; ++nth) {
        const fs::path copies = newFolder();
        const Answer answer = withError(copies, "sync", nth, {"unload", "E:", copies});
        if (answer.status == 77) GTEST_SKIP() << "The kernel doesn't let its calls be asked about.";
        if (answer.hit.empty()) break;
        EXPECT_NE(answer.status, 0) << nth << ' ' << answer.hit;
        EXPECT_THAT(historyOf(copies).troubles(), testing::IsEmpty()) << nth << ' ' << answer.hit;
        listed += fs::exists(copies / "ascmhl/ascmhl_chain.xml");
    }
    EXPECT_GE(listed, 2) << "the flush of the chain's new name, and that of the folder";
}

}  // namespace
}  // namespace zlk::test
