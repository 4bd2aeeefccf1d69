#include <gmock/gmock.h>
#include <signal.h>
#include <sys/file.h>
#include <unistd.h>

#include <chrono>
#include <map>
#include <thread>

#include "tests/tools/CardTest.h"
#include "tests/tools/History.h"
#include "tools/zlkcam/Failure.h"

namespace zlk::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;
using namespace std::chrono_literals;

/// All files below a folder with their bytes.
std::map<std::string, std::string> contentOf(const fs::path& folder) {
    std::map<std::string, std::string> content;
    for (const auto& entry : fs::recursive_directory_iterator(folder))
        if (entry.is_regular_file())
            content[entry.path().lexically_relative(folder)] = readFile(entry.path());
    return content;
}

void expectValid(const fs::path& folder) {
    const fs::path schema =
        fs::path(ZLK_SOURCE_DIR) / "tests/tools/asc-mhl/ASCMHLDirectory__combined.xsd";
    for (const auto& entry : fs::directory_iterator(folder / "ascmhl")) {
        const ProgramResult result =
            runProgram({"xmllint", "--nonet", "--noout", "--schema", schema, entry.path()});
        EXPECT_EQ(result.status, 0) << entry.path() << result.error;
    }
}

void expectFailure(const fs::path& folder, const std::string& reason,
                   const std::string& path = "x") {
    const auto before = contentOf(folder);
    try {
        addGeneration(folder, {recordOf(path, "x")});
        ADD_FAILURE() << "it succeeded";
    } catch (const Failure& failure) {
        EXPECT_EQ(failure.status, ExitStatus::FileUnusable);
        EXPECT_THAT(failure.what(), HasSubstr(reason));
    }
    EXPECT_TRUE(contentOf(folder) == before);
}

std::vector<HashRecord> manyRecords(int count, const std::string& prefix) {
    std::vector<HashRecord> records;
    for (int i = 0; i < count; ++i) records.push_back(recordOf(prefix + std::to_string(i), "x"));
    return records;
}

TEST(Generation, isAValidManifestThatReadsBackAsItWas) {
    const fs::path folder = newFolder();
    HashRecord odd = recordOf("a b/<&>\"' é \xF0\x9F\x93\xB7.JPG", "odd"), many, bare;
    odd.source = "control \x01 character";
    many = recordOf("many", "many");
    for (const DigestKind kind : digestKinds)
        if (!many.sum(kind)) many.sums.push_back(digestOf("many", kind));
    many.action = HashAction::Verified;
    bare.path = " ";
    bare.sums = {digestOf("bare", DigestKind::Md5)};
    const std::string name = addGeneration(folder, {odd, many, bare});
    EXPECT_THAT(name, MatchesRegex("ascmhl/0001_" + folder.filename().string() +
                                   "_20..-..-.._......Z[.]mhl"));
    expectValid(folder);

    const FolderHistory history = historyOf(folder);
    EXPECT_THAT(history.troubles(), IsEmpty());
    ASSERT_THAT(history.records(), SizeIs(3));
    const HashRecord* const first = history.find(odd.path);
    ASSERT_TRUE(first);
    EXPECT_EQ(first->sums, odd.sums);
    EXPECT_EQ(first->modified, odd.modified);
    EXPECT_EQ(first->source, "");
    const HashRecord* const second = history.find("many");
    ASSERT_TRUE(second);
    EXPECT_THAT(second->sums, SizeIs(6)) << "all but SHA-256";
    EXPECT_EQ(second->action, HashAction::Verified);
    EXPECT_EQ(second->source, many.source);
    const HashRecord* const third = history.find(" ");
    ASSERT_TRUE(third);
    EXPECT_EQ(third->size, std::nullopt);
}

TEST(Generation, leavesThoseBeforeItAsTheyAre) {
    const fs::path folder = exampleHistory();
    const auto before = contentOf(folder);
    const std::string name = addGeneration(folder, {recordOf("C.mov", "new")});
    EXPECT_TRUE(name.starts_with("ascmhl/0003_")) << name;
    const auto after = contentOf(folder);
    EXPECT_EQ(after.size(), before.size() + 1);
    for (const auto& [file, bytes] : before)
        EXPECT_TRUE(file == "ascmhl/ascmhl_chain.xml" || after.at(file) == bytes) << file;
    const std::string oldChain = before.at("ascmhl/ascmhl_chain.xml");
    const std::size_t end = oldChain.find("</ascmhldirectory>");
    EXPECT_EQ(after.at("ascmhl/ascmhl_chain.xml").substr(0, end), oldChain.substr(0, end));
    expectValid(folder);
    const FolderHistory history = historyOf(folder);
    EXPECT_THAT(history.troubles(), IsEmpty());
    EXPECT_THAT(history.records(), SizeIs(4));

    EXPECT_EQ(addGeneration(folder, {}), "");
    EXPECT_EQ(contentOf(folder), after);
}

TEST(Generation, isRefusedWhereTheChainCannotBeUnderstood) {
    const fs::path folder = exampleHistory(), chain = folder / "ascmhl/ascmhl_chain.xml";
    const std::string whole = readFile(chain);
    std::string other = whole;
    other.replace(other.find("v2.0"), 4, "v9.0");
    for (const std::string& bytes :
         {whole.substr(0, whole.size() / 2), other, std::string(), std::string("<a/>")}) {
        writeFile(chain, bytes);
        expectFailure(folder, "ascmhl_chain.xml");
    }
    writeFile(chain, whole);
    expectFailure(folder, "../x", "../x");
    EXPECT_THAT(addGeneration(folder, {recordOf("x", "x")}), HasSubstr("0003_"));

    const fs::path linked = newFolder();
    fs::create_directory_symlink(folder / "ascmhl", linked / "ascmhl");
    expectFailure(linked, "ascmhl");
}

TEST(Generation, onAFullDiskLeavesNothingBehind) {
    const fs::path folder = newFolder();
    const SmallDisk disk(folder, "200k");
    if (!disk) GTEST_SKIP() << "no right to mount";
    addGeneration(folder, {recordOf("x", "x")});
    const auto before = contentOf(folder);
    EXPECT_THROW(addGeneration(folder, manyRecords(10'000, "IMG_")), Failure);
    EXPECT_TRUE(contentOf(folder) == before);
    // Of 50 pages two hold what is there. Leaves room for the manifest, and none for the chain
    // file behind it.
    writeFile(folder / "ballast", std::string(47 * 4096, 'b'));
    expectFailure(folder, "No space left on device");
}

ZLK_CHILD(writesGenerations) {
    const int count = std::stoi(child.arguments[1]), records = std::stoi(child.arguments[2]);
    const std::string own = std::to_string(::getpid()) + '/';
    child.say("ready");
    for (int i = 0; i < count; ++i)
        addGeneration(child.arguments[0], manyRecords(records, own + std::to_string(i) + '_'));
    return 0;
}

TEST(Generation, ofTwoWritersAtOnceAreAllListed) {
    const fs::path folder = newFolder();
    ChildProcess first("writesGenerations", {folder, "20", "5"});
    ChildProcess second("writesGenerations", {folder, "20", "5"});
    EXPECT_EQ(first.wait(), 0);
    EXPECT_EQ(second.wait(), 0);
    const FolderHistory history = historyOf(folder);
    EXPECT_THAT(history.troubles(), IsEmpty());
    EXPECT_THAT(history.records(), SizeIs(200));
    std::map<std::string, int> numbers;
    for (const auto& run : history.runs()) ++numbers[run.file.substr(0, 11)];
    EXPECT_THAT(numbers, SizeIs(40));
    std::string chain = readFile(folder / "ascmhl/ascmhl_chain.xml");
    for (int number = 1; number <= 40; ++number)
        EXPECT_THAT(chain, HasSubstr("sequencenr=\"" + std::to_string(number) + '"'));
    expectValid(folder);
}

TEST(Generation, whoseWriterWasKilledIsThereWholeOrNotAtAll) {
    const fs::path folder = newFolder();
    for (int delay = 1; delay <= 12; ++delay) {
        ChildProcess writer("writesGenerations", {folder, "1000", "2000"});
        ASSERT_EQ(writer.hear(), "ready");
        std::this_thread::sleep_for(delay * 7ms);
        writer.kill();
        const FolderHistory history = historyOf(folder);
        EXPECT_THAT(history.troubles(), IsEmpty()) << history.troubles()[0].reason;
        EXPECT_EQ(history.records().size() % 2000, 0u);
    }
    addGeneration(folder, {recordOf("x", "x")});
    const std::string chain = readFile(folder / "ascmhl/ascmhl_chain.xml");
    for (const auto& entry : fs::directory_iterator(folder / "ascmhl")) {
        const std::string name = entry.path().filename();
        EXPECT_FALSE(name.starts_with(".zlkcam-")) << name;
        EXPECT_TRUE(!name.ends_with(".mhl") || chain.find(name) != chain.npos) << name;
    }
}

TEST(Generation, thatWasNamedAndNotListedIsListedByTheNextOne) {
    const fs::path folder = newFolder(), chain = folder / "ascmhl/ascmhl_chain.xml";
    addGeneration(folder, {recordOf("a", "a")});
    const std::string ofOne = readFile(chain);
    const std::string second = addGeneration(folder, {recordOf("b", "b")});
    const std::string ofTwo = readFile(chain);
    writeFile(chain, ofOne);
    EXPECT_THAT(historyOf(folder).records(), SizeIs(2));
    EXPECT_TRUE(addGeneration(folder, {recordOf("c", "c")}).starts_with("ascmhl/0003_"));
    const std::string listed = ofTwo.substr(0, ofTwo.find("</ascmhldirectory>"));
    EXPECT_TRUE(readFile(chain).starts_with(listed));
    EXPECT_THAT(historyOf(folder).troubles(), IsEmpty());
}

TEST(Sums, areTakenByTheCheckers) {
    const fs::path folder = newFolder();
    Generation generation;
    fs::create_directory(folder / "DCIM");
    for (const std::string path :
         {"DCIM/A.JPG", "b c.JPG", "*star", "#hash", "é.JPG", "back\\slash"}) {
        writeFile(folder / path, "bytes of " + path);
        HashRecord record = recordOf(path, "bytes of " + path);
        record.sums.push_back(digestOf("bytes of " + path, DigestKind::Sha256));
        generation.records.push_back(record);
    }
    const Descriptor opened = openFolder(folder);
    const auto check = [&](const char* program, const std::string& name) {
        return runProgram(
            {"sh", "-c", "cd \"$0\" && exec \"$1\" -c \"$2\"", folder, program, name});
    };
    const std::string first = writeSums(opened.get(), generation, DigestKind::Xxh128);
    EXPECT_THAT(first, MatchesRegex(folder.filename().string() + "_20.*Z[.]xxh128"));
    const ProgramResult xxhsum = check("xxhsum", first);
    EXPECT_EQ(xxhsum.status, 0) << xxhsum.output << xxhsum.error;

    // Only the one of the two knows how to write a line end.
    HashRecord lineEnd = recordOf("line\nend\\", "x");
    lineEnd.sums = {digestOf("x", DigestKind::Sha256)};
    writeFile(folder / lineEnd.path, "x");
    generation.records.push_back(lineEnd);
    HashRecord damaged = recordOf("DCIM/damaged.JPG", "x");
    damaged.action = HashAction::Failed;
    generation.records.push_back(damaged);
    ++generation.made;
    const std::string second = writeSums(opened.get(), generation, DigestKind::Sha256);
    const std::string third = writeSums(opened.get(), generation, DigestKind::Sha256);
    EXPECT_NE(second, third);
    const ProgramResult sha256sum = check("sha256sum", second);
    EXPECT_EQ(sha256sum.status, 0) << sha256sum.output << sha256sum.error;

    writeFile(folder / "DCIM/A.JPG", "other bytes");
    EXPECT_NE(check("xxhsum", first).status, 0);
    EXPECT_NE(check("sha256sum", second).status, 0);

    const FolderHistory history = historyOf(folder);
    EXPECT_THAT(history.troubles(), IsEmpty());
    EXPECT_THAT(history.runs(), SizeIs(3));
    EXPECT_THAT(history.records(), SizeIs(7));
    for (const HashRecord& record : generation.records) {
        if (record.action == HashAction::Failed) continue;
        const HashRecord* const read = history.find(record.path);
        ASSERT_TRUE(read) << record.path;
        EXPECT_EQ(*read->sum(DigestKind::Sha256), *record.sum(DigestKind::Sha256));
    }

    const std::string whole = readFile(folder / second);
    for (const std::string& bytes : {whole.substr(0, whole.size() - 1), "x" + whole,
                                     digestOf("", DigestKind::Sha256).text() + "  ../x\n"}) {
        writeFile(folder / second, bytes);
        EXPECT_THAT(historyOf(folder).troubles(), SizeIs(1));
    }
}

}  // namespace
}  // namespace zlk::test
