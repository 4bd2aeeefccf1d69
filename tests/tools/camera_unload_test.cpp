// The client on a virtual camera: what works with a card works with it.

#include <gmock/gmock.h>

#include <set>
#include <thread>

#include "tests/tools/CardTest.h"
#include "tests/usbscan/Camera.h"

namespace zlk::test {
namespace {

using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;

const std::string cam594 = "#Zephyr-Lanthorn#Cam594#0000";

class CameraUnload : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_GE(registerModules(), 1);
        camera = std::make_unique<VirtualCamera>(
            std::vector<std::string>{"--vid", "0x5AF1", "--pid", "0x7C37", "--storage", storage});
    }
    /// An object of these random bytes.
    void add(std::size_t size, const std::string& name, const std::string& more = "") {
        camera->tell("add random=" + std::to_string(size) + " seed=" + std::to_string(++seed) +
                     " name=" + name + ' ' + more);
    }
    JsonAnswer unload() { return json({"unload", "--verify", cam594, target}); }
    std::vector<std::string> copies() const { return copiesIn(target); }
    std::size_t objects() { return Json::parse(camera->tell("objects")).items.size(); }

    const fs::path storage = newFolder(), outside = newFolder(), target = outside / "target";
    std::unique_ptr<VirtualCamera> camera;
    int seed = 0;  // no two objects are equal
};

TEST_F(CameraUnload, deletesNothingWhoseHandleStandsForAnotherPictureMeanwhile) {
    add(25'000'000, "MOVIE.MOV");
    camera->tell("fault slow op=0x101B value=10 count=1000");
    RunningZlkCam client({"unload", "--delete", cam594, target});
    // One reading takes 97 pieces, each by a command of its own.
    while (countIn(camera->tell("log"), "00000001001b10") < 100) std::this_thread::yield();
    camera->tell("fault patch op=0x1008 at=8 bytes=01000000");  // its size
    const JsonAnswer result = client.expectEnd(10);
    EXPECT_THAT(result["files"].each("verified"), ElementsAre("true"));
    EXPECT_EQ(objects(), 1u);
}

TEST_F(CameraUnload, endsADeletionWithTheCameraThatItBeganOn) {
    for (int i = 0; i < 3; ++i) add(1000, "PICT000" + std::to_string(i) + ".JPG");
    const std::vector<std::string> ids = json({"list"})["files"].each("id");
    ASSERT_THAT(ids, SizeIs(3));
    camera->tell("fault unplug op=0x100B");
    const JsonAnswer unloaded = expectJson(9, {"unload", "--delete", cam594, target});
    EXPECT_THAT(unloaded["files"].each("verified"), testing::Each("true"));
    const auto wasTried = [](const Json& file) { return !file["error"]["message"].text.empty(); };
    EXPECT_EQ(std::ranges::count_if(unloaded["files"].items, wasTried), 1);

    camera->tell("plug");
    camera->tell("fault unplug op=0x100B");
    const JsonAnswer deleted = expectJson(9, {"delete", cam594, ids[0], ids[1], ids[2]});
    EXPECT_THAT(deleted["files"].items, SizeIs(1));
    EXPECT_EQ(objects(), 3u);
}

TEST_F(CameraUnload, deletesNothingWhoseSizeSaysNothing) {
    add(5000, "EMPTY.JPG", "size=0");
    add(5000, "GOOD.JPG");
    add(5000, "HUGE.MOV", "size=0xFFFFFFFF");
    const JsonAnswer result = expectJson(7, {"unload", "--delete", cam594, target});
    EXPECT_THAT(result["error"]["message"].text, HasSubstr("4 GiB"));
    EXPECT_EQ(result["files"].each("outcome").back(), "too large");
    EXPECT_THAT(result["files"].each("verified"), ElementsAre("false", "true", "false"));
    EXPECT_THAT(result["files"].each("deleted"), ElementsAre("false", "true", "false"));
    EXPECT_EQ(objects(), 2u);
}

TEST_F(CameraUnload, goesOnInASessionThatOthersOpenedAndHardlyUsed) {
    add(1000, "PICT0001.JPG");
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(zlkcam({"locked", cam594}).status, 0);
        EXPECT_EQ(zlkcam({"info", cam594}).status, 0);
        EXPECT_THAT(expectZlkcam(0, {"list", cam594}).output,
                    ContainsRegex("PICT0001\\.JPG +\\[[0-9]+\\]\n"));
    }
    EXPECT_EQ(zlkcam({"clock", "--set", "now"}).status, 0);
    EXPECT_EQ(zlkcam({"clock"}).status, 0);
    camera->expectNoViolations();
}

TEST_F(CameraUnload, keepsNamesOfEveryScriptAndStaysInsideItsTargetWhateverTheyAre) {
    const char* const party = "\xF0\x9F\x8E\x89.JPG";
    const char* const writing = "\xE5\x86\x99\xE7\x9C\x9F.JPG";
    // A responder that can't say a name says none, maybe before all the others.
    const char* const names[] = {
        "",   "../../evil.JPG", "a/b.JPG",   "up\\..\\x.JPG",  "ctrl%01%1B.JPG",
        "..", "TWICE.JPG",      "TWICE.JPG", "%uD800lone.JPG", "%2F"};
    for (const char* const name : names) add(1000, name);
    for (const char* const name :
         {"..%2F..%2Fevil.JPG", party, writing, "Fu\xCC\x88r%20\xC3\x84nne.JPG"})
        add(1000, name);
    add(1000, std::string(254, 'n'));
    add(1000, "%uD83C" + std::string(253, 'x'));  // as cut in the middle of a character
    const JsonAnswer result = unload();
    EXPECT_EQ(result.status, 0) << result.error;
    EXPECT_THAT(copies(), SizeIs(16));
    for (const char* const name : {party, writing, "Fu\xCC\x88r \xC3\x84nne.JPG", "_", "_ (2)"})
        EXPECT_TRUE(fs::exists(target / "DCIM" / name)) << name;
    // Nothing beside the target.
    EXPECT_EQ(std::distance(fs::directory_iterator(outside), fs::directory_iterator()), 1);
    camera->expectNoViolations();
}

TEST_F(CameraUnload, keepsNoTorsoOfAnObjectThatIsNotWhatItsInfoSaid) {
    add(5000, "GOOD.JPG");
    add(5000, "LARGER.JPG", "size=9000");
    add(30'000'000, "HUGE.MOV", "size=40000000");
    const ProgramResult result = expectZlkcam(4, {"unload", cam594, target});
    EXPECT_THAT(copies(), ElementsAre("DCIM/GOOD.JPG"));
    for (const char* name : {"LARGER.JPG", "HUGE.MOV"})
        EXPECT_THAT(result.output + result.error, HasSubstr(name));
}

/// What the copies hold, whatever their names.
std::set<std::string> contentsOf(const fs::path& folder) {
    std::set<std::string> contents;
    for (const std::string& name : copiesIn(folder)) contents.insert(readFile(folder / name));
    return contents;
}

TEST_F(CameraUnload, skipsNoPictureBecauseOfAnotherOfTheSameNameSizeAndTime) {
    for (int i = 0; i < 3; ++i) add(1000, "PICT0001.JPG", "date=20260715T103000");
    EXPECT_THAT(json({"unload", "--new", cam594, target})["files"].each("outcome"),
                testing::Each("copied"));
    EXPECT_EQ(contentsOf(target).size(), 3u);
    EXPECT_THAT(json({"unload", "--new", cam594, target})["files"].each("outcome"),
                testing::Each("skipped"));
    // Whether somebody has deleted one or put it elsewhere isn't to be seen, but it is told.
    fs::remove(target / "DCIM/PICT0001 (2).JPG");
    const JsonAnswer again = json({"unload", "--new", cam594, target});
    EXPECT_EQ(contentsOf(target).size(), 2u);
    std::vector<std::string> gone;
    for (const Json& file : again["files"].items) gone.push_back(file["copies"].each("gone")[0]);
    EXPECT_THAT(gone, testing::UnorderedElementsAre("true", "false", "false"));
    // With no record of it, only what is there counts.
    fs::remove_all(target / "ascmhl");
    json({"unload", "--new", cam594, target});
    EXPECT_EQ(contentsOf(target).size(), 3u);
}

TEST_F(CameraUnload, copiesPicturesWithoutADateOnceAndDeletesThem) {
    // A date that can't be read is listed as the time of the listing, another one each time.
    for (const char* date : {"date=", "date=20480000T000000", "date=yesterday"}) {
        add(1000, "PICT0001.JPG", date);
        add(1000, "PICT0001.JPG", "date=20260715T103000.5+0200");
    }
    add(25'000'000, "MOVIE.MOV", "date=");
    const auto movie = randomBytes(25'000'000, seed);
    for (int time = 0; time < 2; ++time) {
        expectJson(0, {"unload", "--new", cam594, target});
        EXPECT_EQ(contentsOf(target).size(), 7u);
        EXPECT_THAT(copies(), SizeIs(7));
        std::this_thread::sleep_for(std::chrono::milliseconds(1100));
    }
    camera->tell("fault slow op=0x101B value=1100");
    camera->tell("fault slow op=0x1009 value=1100");
    const JsonAnswer result = expectJson(0, {"unload", "--delete", cam594, target});
    EXPECT_THAT(result["files"].each("deleted"), testing::Each("true"));
    EXPECT_EQ(objects(), 0u);
    EXPECT_THAT(copies(), SizeIs(7));
    EXPECT_TRUE(readFile(target / "DCIM/MOVIE.MOV") == std::string(movie.begin(), movie.end()));
    camera->expectNoViolations();
}

TEST(CameraWithTwoCards, hasAllPicturesOfBothAndNothingOfAnEmptyOne) {
    ASSERT_GE(registerModules(), 1);
    const fs::path cards = newFolder(), target = newFolder();
    std::vector<std::string> options{"--vid",  "0x5AF1",   "--pid",
                                     "0x7C37", "--serial", "00000000000000000000000000004711"};
    for (const char* card : {"left", "empty", "right"}) {
        fs::create_directories(cards / card / "DCIM/100CAM");
        if (std::string(card) != "empty")
            writeFile(cards / card / "DCIM/100CAM/PICT0001.JPG", std::string(1000, *card));
        options.insert(options.end(), {"--storage", cards / card});
    }
    fs::remove_all(cards / "empty/DCIM");
    VirtualCamera camera(options);
    EXPECT_EQ(zlkcam({"info", cam594}).status, 0);
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(json({"unload", "--new", cam594, target}).status, 0);
        EXPECT_EQ(contentsOf(target),
                  (std::set<std::string>{std::string(1000, 'l'), std::string(1000, 'r')}));
    }
    EXPECT_EQ(json({"unload", "--delete", cam594, target}).status, 0);
    EXPECT_EQ(Json::parse(camera.tell("objects")).items.size(), 4u);  // the folders
    camera.expectNoViolations();
}

TEST_F(CameraUnload, saysThatTheCameraWasPulledInTheListOrInAFileAndWorksOnceItIsBack) {
    for (int i = 0; i < 3; ++i) add(500'000, "PICT000" + std::to_string(i) + ".JPG");
    const std::pair<std::string, testing::Matcher<int>> cases[] = {
        {"op=0x1008", 9}, {"op=0x1009 phase=data at=50%", testing::AnyOf(4, 9)}};
    for (const auto& [moment, status] : cases) {
        camera->tell("fault unplug " + moment);
        EXPECT_THAT(unload().status, status) << moment;
        EXPECT_THAT(copies(), SizeIs(0)) << moment;
        EXPECT_EQ(zlkcam({"list", cam594}).status, 9) << moment;
        camera->tell("plug");
    }
    EXPECT_EQ(unload().status, 0);
    EXPECT_THAT(copies(), SizeIs(3));
}

TEST_F(CameraUnload, namesASilentCameraAndWhatHelpsAfterOneTimeOut) {
    add(1000, "A.JPG");
    zlkcam({"settings", "set", "Software\\Zephyr-Lanthorn\\Platform", "TransferTimeout", "1000",
            "--type", "dword"});
    for (const char* const command : {"info", "list", "clock", "order", "thumbs", "unload"}) {
        camera->tell("fault cancel-stall count=9");
        camera->tell("fault silence phase=command count=99");
        std::vector<std::string> words{command, cam594};
        if (words[0] == "thumbs" || words[0] == "unload") words.push_back(target);
        const auto start = std::chrono::steady_clock::now();
        const ProgramResult silent = zlkcam(words);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(2500));
        EXPECT_EQ(silent.status, 9) << command;
        EXPECT_THAT(silent.error, HasSubstr("is attached, and doesn't answer.")) << command;
        EXPECT_THAT(silent.error, HasSubstr("Switch it off and on again")) << command;
        camera->tell("faults clear");
        camera->tell("unplug");
        camera->tell("plug");
        EXPECT_EQ(zlkcam({"info", cam594}).status, 0);
    }
}

TEST_F(CameraUnload, namesTheObjectThatACameraOfAnotherMakerRefusesAndCopiesTheOthers) {
    camera.reset();
    camera = std::make_unique<VirtualCamera>(
        std::vector<std::string>{"--model", "unknown", "--product", "Other", "--storage", storage});
    ASSERT_EQ(zlkcam({"adopt", "--yes"}).status, 0);
    for (int i = 0; i < 4; ++i) add(1000 + i, "P" + std::to_string(i) + ".JPG");
    camera->tell("fault answer value=0x2002 op=0x1008");
    const ProgramResult list = expectZlkcam(4, {"list"});
    EXPECT_THAT(list.error, HasSubstr("DCIM\\object 1.refused"));
    EXPECT_THAT(list.output, HasSubstr("P3.JPG"));
    camera->tell("fault answer value=0x2009 op=0x1009");  // the bytes of the first
    const JsonAnswer unloaded = expectJson(4, {"unload", target});
    EXPECT_EQ(unloaded["files"].each("outcome").front(), "failed");
    EXPECT_THAT(copies(), SizeIs(3));
}

}  // namespace
}  // namespace zlk::test
