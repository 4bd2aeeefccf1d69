// The page that people keep of an unloading: whole, well-formed, and true whatever a card is called
// and holds.

#include <gmock/gmock.h>

#include <thread>

#include "tests/support/VirtualCamera.h"
#include "tests/tools/CardTest.h"

namespace zlk::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using namespace std::chrono_literals;

class Report : public CardTest {
  protected:
    /// As cameras make them, with thumbnails inside.
    void addPictures() const {
        ASSERT_EQ(runProgram({programFolder() / "zlk-samplecard", card}).status, 0);
    }
};

/// The page in a folder, if it is well-formed and the only one.
std::string pageIn(const fs::path& folder) {
    std::vector<fs::path> pages;
    for (const auto& entry : fs::directory_iterator(folder))
        if (entry.path().extension() == ".html") pages.push_back(entry.path());
    EXPECT_EQ(pages.size(), 1u) << folder;
    if (pages.empty()) return {};
    const ProgramResult checked = runProgram({"xmllint", "--noout", "--nonet", pages.front()});
    EXPECT_EQ(checked.status, 0) << checked.error;
    return readFile(pages.front());
}

TEST_F(Report, showsEachFileOnceWithItsThumbnailAndTakesNoNameForMarkup) {
    addPictures();
    const std::string names[] = {"<script>alert(1)</script>.JPG",
                                 "\" onload=\"x.JPG",
                                 "]]> <!-- & &amp; '.MOV",
                                 "\xE2\x80\xAE"
                                 "GPJ.EXE",
                                 "a\nb\x1b[2J\x7F.WAV",
                                 "caf\xE9.CR2",
                                 "\xEF\xBF\xBF.TXT",
                                 ".MP4"};
    for (std::size_t i = 0; i < std::size(names); ++i) {
        std::string name = names[i];
        std::ranges::replace(name, '/', '|');
        addFile("DCIM/" + name, bytesOf(1000 + i, static_cast<unsigned>(i)));
    }
    const fs::path other = target / "other", first = target / "first";
    const JsonAnswer result =
        json({"unload", "--verify", "--sum", "sha256", "--report", "E:", first, other});
    ASSERT_EQ(result.status, 0) << result.error;
    const std::string page = pageIn(first);
    EXPECT_TRUE(page == pageIn(other));
    EXPECT_EQ(result["destinations"].each("report").size(), 2u);
    EXPECT_TRUE(fs::exists(result["destinations"].each("report")[0]));

    EXPECT_EQ(countIn(page, "<figure"), result["files"].items.size());
    for (const Json& file : result["files"].items) {
        EXPECT_EQ(countIn(page, file["xxh128"].text), 1u) << file["id"].text;
        EXPECT_EQ(countIn(page, file["sha256"].text), 1u) << file["id"].text;
    }
    EXPECT_EQ(countIn(page, ">PICT0003.JPG<"), 1u);
    EXPECT_GE(countIn(page, "src=\"data:image/jpeg;base64,/9j/"), 12u);
    // By their count, as a page is too long to be printed.
    for (const char* const name :
         {"&lt;script&gt;alert(1)&lt;|script&gt;.JPG", "]]&gt; &lt;!-- &amp; &amp;amp; &#39;.MOV",
          "&quot; onload=&quot;x.JPG", "\uFFFDGPJ.EXE", "a\uFFFDb\uFFFD[2J\uFFFD.WAV",
          "caf\u00E9.CR2"})
        EXPECT_EQ(countIn(page, '>' + std::string(name) + '<'), 1u) << name;
    for (const char* const markup : {"<script", "<!-- ", "\" onload", "href", "url("})
        EXPECT_EQ(countIn(page, markup), 0u) << markup;
    EXPECT_EQ(countIn(page, "src="), countIn(page, "src=\"data:image/jpeg;"));
    const fs::path manifest = result["destinations"].each("manifest")[1];
    EXPECT_EQ(countIn(page, manifest.filename()), 1u);

    // Nobody takes it for a new picture.
    const JsonAnswer checked = expectJson(0, {"check", first});
    EXPECT_TRUE(checked["new"].items.empty());
}

TEST_F(Report, namesWhatFailedBeforeAllElseAndReplacesNothing) {
    const fs::path small = target / "small", other = target / "other";
    const SmallDisk disk(small, "1m");
    if (!disk) GTEST_SKIP() << "needs the right to mount";
    addFile("DCIM/A.JPG", bytesOf(100'000, 1));
    addFile("DCIM/LARGE.JPG", bytesOf(2'000'000, 2));
    addFile("DCIM/NEXT.JPG", bytesOf(100'000, 3));
    const JsonAnswer result = expectJson(6, {"unload", "--delete", "--report", "E:", other, small});
    const std::string page = pageIn(other);
    EXPECT_THAT(
        page, AllOf(HasSubstr("verdict bad"), HasSubstr("What went wrong"),
                    HasSubstr(small.string() + " failed: "), Not(HasSubstr("on the device only"))));
    EXPECT_LT(page.find("class=\"amiss\""), page.find(">LARGE.JPG<"));
    EXPECT_LT(page.find(">LARGE.JPG<"), page.find(">A.JPG<"));
    EXPECT_TRUE(fs::exists(card / "DCIM/LARGE.JPG"));
    EXPECT_THAT(zlkcam({"unload", "E:", other, small}).output,
                AllOf(HasSubstr("1 file not copied to every folder."),
                      Not(HasSubstr("on the device only"))));

    ASSERT_EQ(zlkcam({"unload", "--report", "E:", target / "again"}).status, 0);
    const std::string first = pageIn(target / "again");
    EXPECT_EQ(countIn(first, "verdict good"), 1u);
    // One of the same second gets a name of its own, too.
    const JsonAnswer second = json({"unload", "--report", "E:", target / "again"});
    EXPECT_NE(readFile(second["destinations"].each("report")[0]), first);
}

TEST_F(Report, saysThatTheDiskIsFullDeletesNothingAndLeavesNoTorso) {
    // All of it has room with its manifest, and a page of its thumbnails hasn't.
    addPictures();
    fs::remove_all(card / "DCIM/101CAM");
    std::uintmax_t bytes = 0;
    for (const auto& entry : fs::recursive_directory_iterator(card))
        if (entry.is_regular_file()) bytes += (entry.file_size() + 4095) / 4096 * 4096;
    const fs::path small = target / "small";
    const SmallDisk disk(small, std::to_string(bytes + 64'000));
    if (!disk) GTEST_SKIP() << "needs the right to mount";
    const JsonAnswer result = expectJson(6, {"unload", "--delete", "--report", "E:", small});
    EXPECT_THAT(result.error, HasSubstr(".html can't be written: No space left"));
    EXPECT_THAT(result["files"].each("proved"), testing::Each("true"));
    EXPECT_THAT(result["files"].each("deleted"), testing::Each("false"));
    EXPECT_NE(result["destinations"].each("manifest")[0], "");
    EXPECT_EQ(result["destinations"].each("report")[0], "");
    for (const auto& entry : fs::directory_iterator(small))
        EXPECT_THAT(entry.path().filename().string(),
                    AllOf(Not(HasSubstr(".html")), Not(testing::StartsWith(".zlkcam-"))));
}

TEST(ReportOfACamera, isWholeThoughTheCameraIsPulledOrSilentWhileThumbnailsAreMade) {
    ASSERT_GE(registerModules(), 1);
    const fs::path storage = newFolder(), target = newFolder();
    ASSERT_EQ(runProgram({programFolder() / "zlk-samplecard", storage}).status, 0);
    fs::remove_all(storage / "DCIM/100CAM");
    fs::remove_all(storage / "MISC");
    VirtualCamera camera({"--vid", "0x5AF1", "--pid", "0x7C37", "--storage", storage});
    camera.tell("fault unplug phase=data op=0x100A at=100");
    const JsonAnswer pulled = expectJson(0, {"unload", "--verify", "--report", target / "pulled"});
    EXPECT_EQ(countIn(pageIn(target / "pulled"), "<figure"), 4u);
    camera.tell("faults clear");
    camera.tell("plug");

    camera.tell("fault silence phase=command op=0x100A");
    RunningZlkCam client({"unload", "--delete", "--report", target / "silent"});
    while (!fs::exists(target / "silent/ascmhl/ascmhl_chain.xml")) std::this_thread::yield();
    const JsonAnswer result = client.expectStop(500ms);
    EXPECT_THAT(result["files"].each("outcome"), testing::Each("copied"));
    EXPECT_THAT(result["files"].each("deleted"), testing::Each("false"));
    EXPECT_EQ(countIn(pageIn(target / "silent"), "<figure"), 4u);
    const auto manifests = fs::directory_iterator(target / "silent/ascmhl");
    EXPECT_EQ(std::distance(begin(manifests), end(manifests)), 2) << "a manifest and the chain";
}

}  // namespace
}  // namespace zlk::test
