#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>

#include "tests/support/ChildProcess.h"
#include "tests/tools/History.h"

namespace zlk::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

constexpr char head[] =
    "<?xml version=\"1.0\"?>\n<hashlist version=\"2.0\" xmlns=\"urn:ASC:MHL:v2.0\"><hashes>";
constexpr char end[] = "</hashes></hashlist>";

/// Makes a manifest of these hash elements, which no chain file lists.
void addManifest(const fs::path& folder, unsigned number, const std::string& hashes) {
    fs::create_directories(folder / "ascmhl");
    writeFile(folder / "ascmhl" / ("000" + std::to_string(number) + "_x.mhl"), head + hashes + end);
}

std::string hash(const std::string& path, const std::string& bytes,
                 const std::string& action = "original", const std::string& more = {}) {
    return "<hash><path size='" + std::to_string(bytes.size()) + "'>" + path +
           "</path><xxh64 action='" + action + "'>" + digestOf(bytes, DigestKind::Xxh64).text() +
           "</xxh64>" + more + "</hash>";
}

std::vector<std::string> pathsOf(const FolderHistory& history) {
    std::vector<std::string> paths;
    for (const HashRecord& record : history.records()) paths.push_back(record.path);
    return paths;
}

TEST(Digest, isThatOfTheCheckersOfEachKind) {
    const std::pair<DigestKind, const char*> sums[] = {
        {DigestKind::Md5, "900150983cd24fb0d6963f7d28e17f72"},
        {DigestKind::Sha1, "a9993e364706816aba3e25717850c26c9cd0d89d"},
        {DigestKind::Sha256, "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
        {DigestKind::Xxh64, "44bc2cf5ad770999"},
        {DigestKind::Xxh3, "78af5f94892f3950"},
        {DigestKind::Xxh128, "06b05ab6733a618578af5f94892f3950"},
    };
    for (const auto& [kind, text] : sums) {
        const Digest digest = digestOf("abc", kind);
        EXPECT_EQ(digest.text(), text) << digestName(kind);
        EXPECT_EQ(Digest::parse(kind, text), digest) << digestName(kind);
        EXPECT_EQ(digestKind(digestName(kind)), kind);
        const std::string whole = text;
        for (const std::string& bad :
             {whole.substr(1), whole + "0", std::string(), whole.substr(0, whole.size() - 1) + "!"})
            EXPECT_EQ(Digest::parse(kind, bad), std::nullopt) << bad;
    }
    const fs::path lists = exampleHistory() / "ascmhl";
    const Digest c4 =
        digestOf(readFile(lists / "0002_A002R2EC_2020-01-17_143000Z.mhl"), DigestKind::C4);
    EXPECT_THAT(readFile(lists / "ascmhl_chain.xml"), HasSubstr("<c4>" + c4.text() + "</c4>"));
    EXPECT_EQ(Digest::parse(DigestKind::C4, c4.text()), c4);
    const Digest zero = *Digest::parse(DigestKind::C4, "c4" + std::string(88, '1'));
    EXPECT_EQ(zero.text(), "c4" + std::string(88, '1'));
    EXPECT_EQ(Digest::parse(DigestKind::C4, "c4" + std::string(88, 'z')), std::nullopt);
}

TEST(FolderHistory, readsWhatAnotherProgramWrote) {
    const fs::path folder = exampleHistory();
    const FolderHistory history = historyOf(folder);
    EXPECT_THAT(history.troubles(), IsEmpty()) << history.troubles()[0].reason;
    EXPECT_THAT(pathsOf(history), ElementsAre("Clips/A002C006_141024_R2EC.mov",
                                              "Clips/A002C007_141024_R2EC.mov", "Sidecar.txt"));
    for (const HashRecord& record : history.records()) {
        const std::string bytes = readFile(folder / record.path);
        EXPECT_THAT(record.sums, ElementsAre(digestOf(bytes, DigestKind::Xxh64)));
        EXPECT_EQ(record.size, bytes.size());
        EXPECT_EQ(record.modified, 1579093200);
        EXPECT_EQ(record.action, HashAction::Verified);
    }
}

TEST(FolderHistory, leavesOutWhatCannotBeUsedAndNothingElse) {
    const std::string good = hash("good", "x");
    const std::string deep = [] {
        std::string text;
        for (int i = 0; i < 100'000; ++i) text += "<a>";
        return text;
    }();
    const std::pair<std::string, const char*> bad[] = {
        {head + good, "ends in the middle"},
        {head + good + "</hashes>", "ends in the middle"},
        {head + hash("../x", "x") + end, "out of the folder"},
        {head + hash("a/../../x", "x") + end, "out of the folder"},
        {head + hash("/etc/passwd", "x") + end, "out of the folder"},
        {head + hash("AscMHL/0001_x.mhl", "x") + end, "out of the folder"},
        {head + hash("a//b", "x") + end, "out of the folder"},
        {head + hash("", "x") + end, "out of the folder"},
        {head + hash("a\xFF", "x") + end, "isn't UTF-8"},
        {head + hash(std::string(5000, 'a'), "x") + end, "out of the folder"},
        {"<hashlist version='3.0' xmlns='urn:ASC:MHL:v3.0'/>", "version \"3.0\""},
        {"<html/>", "no media hash list"},
        {"", "ends in the middle"},
        {std::string(100'000, '\0'), "isn't XML"},
        {head + std::string("<hash><path>a</path><md5>abc</md5></hash>") + end, "is no md5"},
        {head + std::string("<hash><path>a</b></hash>") + end, "isn't XML"},
        {head + deep, "nested"},
        {head + std::string("<hash>") + deep, "nested"},
        {head + std::string("<a b='") + std::string(3 << 20, 'x'), "megabyte"},
        {head + std::string("<hash><path>") + std::string(3 << 20, 'x'), "megabyte"},
        {"<!DOCTYPE a [<!ENTITY b 'c'>]>" + std::string(head) + end, "document type"},
    };
    for (const auto& [text, reason] : bad) {
        SCOPED_TRACE(text.substr(0, 200));
        const fs::path folder = newFolder();
        addManifest(folder, 1, hash("first", "1"));
        writeFile(folder / "ascmhl/0002_bad.mhl", text);
        addManifest(folder, 3, hash("third", "3"));
        const FolderHistory history = historyOf(folder);
        EXPECT_THAT(pathsOf(history), ElementsAre("first", "third"));
        ASSERT_THAT(history.troubles(), SizeIs(1));
        EXPECT_EQ(history.troubles()[0].file, "ascmhl/0002_bad.mhl");
        EXPECT_THAT(history.troubles()[0].reason, HasSubstr(reason));
    }
}

TEST(FolderHistory, waitsForNothingAndFollowsNoLink) {
    const fs::path folder = newFolder(), lists = folder / "ascmhl";
    addManifest(folder, 1, hash("first", "1"));
    fs::create_symlink(lists / "0001_x.mhl", lists / "0002_link.mhl");
    ASSERT_EQ(::mkfifo((lists / "0003_pipe.mhl").c_str(), 0600), 0);
    writeFile(lists / "0004_huge.mhl", "");
    fs::resize_file(lists / "0004_huge.mhl", std::uintmax_t{1} << 40);
    fs::create_directory(lists / "0005_folder.mhl");
    const FolderHistory history = historyOf(folder);
    EXPECT_THAT(pathsOf(history), ElementsAre("first"));
    std::vector<std::string> reasons;
    for (const auto& trouble : history.troubles()) reasons.push_back(trouble.reason);
    EXPECT_THAT(reasons, ElementsAre("it is a link", "it is no file", HasSubstr("more than"),
                                     "it is no file"));
    const fs::path linked = newFolder();
    fs::create_directory_symlink(lists, linked / "ascmhl");
    EXPECT_THAT(historyOf(linked).records(), IsEmpty());
    EXPECT_THAT(historyOf(linked).troubles(), SizeIs(1));
}

TEST(FolderHistory, believesTheChainFile) {
    const fs::path folder = exampleHistory(), lists = folder / "ascmhl";
    const fs::path second = lists / "0002_A002R2EC_2020-01-17_143000Z.mhl";
    writeFile(second, readFile(second) + " ");
    FolderHistory history = historyOf(folder);
    ASSERT_THAT(history.troubles(), SizeIs(1));
    EXPECT_THAT(history.troubles()[0].reason, HasSubstr("chain file"));
    EXPECT_EQ(history.records()[0].action, HashAction::Original) << "of the first generation";

    fs::remove(second);
    history = historyOf(folder);
    ASSERT_THAT(history.troubles(), SizeIs(1));
    EXPECT_THAT(history.troubles()[0].reason, HasSubstr("isn't there"));

    writeFile(lists / "ascmhl_chain.xml", "<ascmhldirectory");
    history = historyOf(folder);
    EXPECT_THAT(history.records(), SizeIs(3)) << "nothing says that the manifest is wrong";
    ASSERT_THAT(history.troubles(), SizeIs(1));
    EXPECT_EQ(history.troubles()[0].file, "ascmhl/ascmhl_chain.xml");
}

TEST(FolderHistory, hasTheNewestOfEachFileAndWhatOlderOnesKnow) {
    const fs::path folder = newFolder();
    addGeneration(folder, {recordOf("kept", "kept"), recordOf("replaced", "old"),
                           recordOf("damaged", "whole"), recordOf("moved", "moved"),
                           recordOf("a", "of a"), recordOf("b", "of b")});
    const auto both = [](const std::string& bytes) {
        return "<xxh128>" + digestOf(bytes).text() + "</xxh128>";
    };
    fs::remove(folder / "ascmhl/ascmhl_chain.xml");
    addManifest(folder, 2,
                hash("kept", "kept", "verified", both("kept")) +
                    hash("replaced", "new", "original", both("new")) +
                    hash("damaged", "damaged!", "failed", both("damaged!")) +
                    hash("below/moved", "moved", "verified",
                         both("moved") + "<previousPath>moved</previousPath>") +
                    hash("b", "of a", "verified", both("of a") + "<previousPath>a</previousPath>") +
                    hash("a", "of b", "verified", both("of b") + "<previousPath>b</previousPath>"));
    const FolderHistory history = historyOf(folder);
    EXPECT_THAT(history.troubles(), IsEmpty());
    EXPECT_THAT(pathsOf(history),
                ElementsAre("a", "b", "below/moved", "damaged", "kept", "replaced"));
    const auto expect = [&](const char* path, const std::string& bytes, const char* source,
                            HashAction action) {
        const HashRecord* const record = history.find(path);
        ASSERT_TRUE(record) << path;
        ASSERT_TRUE(record->sum(DigestKind::Xxh128)) << path;
        EXPECT_EQ(*record->sum(DigestKind::Xxh128), digestOf(bytes)) << path;
        EXPECT_EQ(record->size, bytes.size()) << path;
        EXPECT_EQ(record->source, source) << path;
        EXPECT_EQ(record->action, action) << path;
        const bool isFirst = history.runs()[record->run].device.ends_with("#RemovableDrive#E");
        EXPECT_EQ(isFirst, !record->source.empty()) << path;
    };
    expect("kept", "kept", "DCIM/kept", HashAction::Verified);
    expect("replaced", "new", "", HashAction::Original);
    expect("damaged", "whole", "DCIM/damaged", HashAction::Failed);
    expect("below/moved", "moved", "DCIM/moved", HashAction::Verified);
    expect("a", "of b", "DCIM/b", HashAction::Verified);
    expect("b", "of a", "DCIM/a", HashAction::Verified);
    EXPECT_FALSE(history.find("moved"));
}

long residentKilobytes() {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmRSS:")) return std::stol(line.substr(6));
    return 0;
}

ZLK_CHILD(readsAHistory) {
    const long before = residentKilobytes();
    const FolderHistory history = historyOf(child.arguments[0]);
    child.say(std::to_string(history.records().size()) + ' ' +
              std::to_string(residentKilobytes() - before));
    return 0;
}

TEST(FolderHistory, ofAHundredThousandFilesTakesFortyMegabytes) {
    const fs::path folder = newFolder();
    std::vector<HashRecord> records;
    for (int i = 0; i < 100'000; ++i)
        records.push_back(
            recordOf("DCIM/100CANON/IMG_" + std::to_string(100'000 + i) + ".JPG", "x"));
    addGeneration(folder, records);
    ChildProcess reader("readsAHistory", {folder});
    const std::string line = reader.hear();
    EXPECT_TRUE(line.starts_with("100000 ")) << line;
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
    EXPECT_LT(std::stol(line.substr(7)), 42'000) << line;
#endif
}

}  // namespace
}  // namespace zlk::test
