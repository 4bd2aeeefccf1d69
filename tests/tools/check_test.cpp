#include <gmock/gmock.h>
#include <unistd.h>

#include "tests/tools/History.h"
#include "tests/tools/ZlkCam.h"

namespace zlk::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using namespace std::chrono_literals;

/// What is found of a file; a finding of its own where it isn't among them.
std::string findingOf(const JsonAnswer& answer, const std::string& file) {
    for (const Json& each : answer["files"].items)
        if (each["file"].text == file) return each["finding"].text;
    return "not recorded";
}

class Check : public testing::Test {
  protected:
    /// Makes files of these names, which hold their names, and a record of them.
    void fill(const std::vector<std::string>& names) {
        std::vector<HashRecord> records;
        for (const std::string& name : names) {
            fs::create_directories((folder / name).parent_path());
            writeFile(folder / name, name);
            records.push_back(recordOf(name, name));
        }
        addGeneration(folder, records);
    }

    const fs::path folder = newFolder();
};

TEST_F(Check, findsAllWholeAndTellsOfNewFiles) {
    fill({"DCIM/A.JPG", "DCIM/B.JPG", "C.JPG"});
    for (const char* ignored : {".DS_Store", "DCIM/.zlkcam-01234567-D.JPG.part"})
        writeFile(folder / ignored, "ignored");
    JsonAnswer answer = expectJson(0, {"check", folder});
    EXPECT_THAT(answer["files"].each("finding"), ElementsAre("whole", "whole", "whole"));
    EXPECT_THAT(answer["files"].each("source"),
                ElementsAre("DCIM/C.JPG", "DCIM/DCIM/A.JPG", "DCIM/DCIM/B.JPG"));
    EXPECT_THAT(answer["new"].items, IsEmpty());

    writeFile(folder / "DCIM/new.JPG", "new");
    fs::create_directory_symlink(folder, folder / "loop");
    answer = expectJson(0, {"check", folder});
    EXPECT_THAT(answer["new"].each("file"), ElementsAre("DCIM/new.JPG"));
    const ProgramResult words = expectZlkcam(0, {"check", folder});
    EXPECT_THAT(words.output, HasSubstr("3 of 3 files whole"));
    EXPECT_THAT(words.output, HasSubstr("1 file new"));
}

TEST_F(Check, tellsWhatIsWrongWithEachFile) {
    fill({"whole", "longer", "other", "gone", "folder", "old name", "below/gone"});
    writeFile(folder / "longer", "longer than it was");
    writeFile(folder / "other", "rehto");
    fs::remove(folder / "gone");
    fs::remove(folder / "folder");
    fs::create_directory(folder / "folder");
    fs::rename(folder / "old name", folder / "new name");
    fs::remove_all(folder / "below");
    writeFile(folder / "below", "a file where a folder was");
    const JsonAnswer answer = expectJson(11, {"check", folder});
    for (const auto& [file, finding] : {std::pair{"whole", "whole"},
                                        {"longer", "changed"},
                                        {"other", "changed"},
                                        {"gone", "missing"},
                                        {"folder", "changed"},
                                        {"old name", "renamed"},
                                        {"below/gone", "missing"}})
        EXPECT_EQ(findingOf(answer, file), finding) << file;
    EXPECT_THAT(answer["new"].each("file"), ElementsAre("below"));
    const ProgramResult words = expectZlkcam(11, {"check", folder});
    for (const char* line : {"old name -> new name", "it has 18 bytes, and had 6",
                             "2 files missing", "3 files changed"})
        EXPECT_THAT(words.output, HasSubstr(line));
}

TEST_F(Check, namesRecordsThatCannotBeUsedAndChecksTheOthers) {
    fill({"a"});
    writeFile(folder / "ascmhl/0002_bad.mhl", "<hashlist");
    JsonAnswer answer = expectJson(15, {"check", folder});
    EXPECT_EQ(findingOf(answer, "a"), "whole");
    EXPECT_THAT(answer["troubles"].each("file"), ElementsAre("ascmhl/0002_bad.mhl"));
    fs::remove(folder / "a");
    expectJson(11, {"check", folder});  // the graver of the two

    const fs::path unknown = newFolder();
    EXPECT_EQ(json({"check", unknown}).status, 1);
    EXPECT_EQ(json({"check", unknown / "missing"}).status, 6);
    EXPECT_EQ(json({"check"}).status, 1);
}

TEST_F(Check, namesWhatCannotBeRead) {
    if (::geteuid() != 0) GTEST_SKIP() << "no right to give rights up";
    fill({"a", "shut", "closed/b"});
    fs::permissions(folder / "shut", fs::perms(0));
    fs::permissions(folder / "closed", fs::perms(0));
    const ProgramResult result = withoutPrivileges({"check", folder, "--json"});
    fs::permissions(folder / "closed", fs::perms(0700));
    EXPECT_EQ(result.status, 6);
    const JsonAnswer answer{result.status, Json::parse(result.output), result.error};
    EXPECT_EQ(findingOf(answer, "a"), "whole");
    EXPECT_EQ(findingOf(answer, "shut"), "unreadable");
    EXPECT_EQ(findingOf(answer, "closed/b"), "unreadable");
    EXPECT_THAT(answer["unread"].each("folder"), ElementsAre("closed"));
}

TEST_F(Check, believesAManifestAndNotAnOlderFileOfSums) {
    fill({"a"});
    Generation older;
    older.made -= 86400;
    older.records = {recordOf("a", "what it held before")};
    writeSums(openFolder(folder).get(), older, DigestKind::Xxh128);
    EXPECT_THAT(expectJson(0, {"check", folder})["files"].each("finding"), ElementsAre("whole"));
}

TEST_F(Check, readsWhatOtherProgramsRecordedAndTakesARenamedFileForWhole) {
    const fs::path example = exampleHistory();
    JsonAnswer answer = expectJson(0, {"check", example});
    EXPECT_THAT(answer["files"].each("finding"), ElementsAre("whole", "whole", "whole"));
    writeFile(example / "Sidecar.txt", "other");
    EXPECT_EQ(json({"check", example}).status, 11);

    Generation sums;
    for (const char* name : {"a", "b", "c"}) {
        writeFile(folder / name, name);
        sums.records.push_back(recordOf(name, name));
        sums.records.back().sums = {digestOf(name, DigestKind::Sha256)};
    }
    writeSums(openFolder(folder).get(), sums, DigestKind::Sha256);
    fs::create_directory(folder / "below");
    for (const char* name : {"b", "c"}) fs::rename(folder / name, folder / "below" / name);
    answer = expectJson(0, {"check", folder});
    EXPECT_THAT(answer["files"].each("finding"), ElementsAre("whole", "renamed", "renamed"));
    EXPECT_THAT(answer["files"].each("nowAt"), ElementsAre("", "below/b", "below/c"));
    EXPECT_THAT(answer["new"].items, IsEmpty());
}

TEST_F(Check, tellsOfNoRenamedFileAsNewWhenAStopEndsTheSearch) {
    constexpr std::uint64_t longToRead = 16ull << 30;
    HashRecord missing = recordOf("missing", "");
    missing.size = longToRead;
    addGeneration(folder, {recordOf("old name", "bytes"), missing});
    writeFile(folder / "a", "bytes");
    writeFile(folder / "b", "");
    fs::resize_file(folder / "b", longToRead);
    const JsonAnswer answer = RunningZlkCam({"check", folder}).expectStop(700ms);
    EXPECT_EQ(findingOf(answer, "old name"), "renamed");
    EXPECT_THAT(answer["new"].each("file"), ElementsAre("b"));
}

TEST_F(Check, endsWithinASecondOfAStop) {
    fill({"a"});
    writeFile(folder / "hole", "");
    fs::resize_file(folder / "hole", std::uintmax_t{4} << 40);
    HashRecord hole = recordOf("hole", "");
    hole.size = std::uint64_t{4} << 40;
    addGeneration(folder, {hole, recordOf("later", "later")});
    const JsonAnswer answer = RunningZlkCam({"check", folder}).expectStop(700ms);
    EXPECT_THAT(answer["files"].each("finding"),
                ElementsAre("whole", "not reached", "not reached"));
}

}  // namespace
}  // namespace zlk::test
