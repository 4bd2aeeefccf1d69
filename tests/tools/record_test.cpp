// What a camera sends, as a file: recorded while a program uses it, told, and played again.

#include <gmock/gmock.h>

#include <map>

#include "tests/support/VirtualCamera.h"
#include "tests/tools/CardTest.h"

namespace zlk::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;

const std::string cam594 = "#Zephyr-Lanthorn#Cam594#0000";

std::vector<std::string> cameraWith(const std::vector<std::string>& more) {
    std::vector<std::string> options{"--vid", "0x5AF1", "--pid", "0x7C37", "--serial", "SECRET-1"};
    options.insert(options.end(), more.begin(), more.end());
    return options;
}

class RecordTest : public testing::Test {
  protected:
    void SetUp() override { ASSERT_GE(registerModules(), 1); }
    /// Runs the client with these words while it is recorded with these options.
    ProgramResult record(std::vector<std::string> options, const std::vector<std::string>& words) {
        options.insert(options.begin(), "record");
        options.insert(options.end(), {"5AF1:7C37", file, "--", programFolder() / "zlkcam"});
        options.insert(options.end(), words.begin(), words.end());
        return zlkcam(options);
    }
    std::string shown() const { return zlkcam({"record", "--show", file}).output; }
    /// The names and bytes of what was copied.
    static std::map<std::string, std::string> filesIn(const fs::path& folder) {
        std::map<std::string, std::string> files;
        for (const std::string& copy : copiesIn(folder)) files[copy] = readFile(folder / copy);
        return files;
    }

    const fs::path storage = newFolder(), outside = newFolder();
    const std::string file = outside / "camera.pcapng";
};

TEST_F(RecordTest, isPlayedAgainByteForByteWhateverTheFramingWas) {
    for (const std::string packetSize : {"64", "512", "1024"}) {
        fs::remove(file);
        const fs::path first = outside / ("first" + packetSize), second = first.string() + "again";
        std::string list;
        {
            VirtualCamera camera(cameraWith({"--storage", storage, "--packet-size", packetSize}));
            for (const int size : {0, 1, 52, 500, 1012, 20'000, 21'000'000})
                camera.tell("add random=" + std::to_string(size) + " seed=" +
                            std::to_string(size + 1) + " name=P" + std::to_string(size) + ".JPG");
            camera.tell("fault split-header op=0x1009 count=2");
            camera.tell("fault no-zero-packet op=0x1009 count=9");
            const auto recorded = record({"--payloads"}, {"unload", cam594, first});
            ASSERT_EQ(recorded.status, 0) << recorded.error;
            list = zlkcam({"list"}).output;
        }
        VirtualCamera camera({"--replay", file});
        EXPECT_EQ(zlkcam({"list"}).output, list);
        const auto unloaded = expectZlkcam(0, {"unload", cam594, second});
        EXPECT_EQ(filesIn(first).size(), 7u);
        EXPECT_TRUE(filesIn(first) == filesIn(second));
        EXPECT_THAT(zlkcam({"devices"}).output, HasSubstr("5AF1&PID_7C37"));
    }
}

TEST_F(RecordTest, tellsNothingOfTheOwnerUnlessItIsAskedFor) {
    VirtualCamera camera(cameraWith({"--storage", storage}));
    camera.tell("add random=5000 name=ANNAMARIE.JPG");
    ASSERT_EQ(record({"--anonymous"}, {"unload", cam594, outside / "a"}).status, 0);
    const std::string bytes = readFile(file), wanted = readFile(outside / "a/DCIM/ANNAMARIE.JPG");
    for (const std::string secret : {"ANNA", "SECRET"}) {
        std::string wide;
        for (const char letter : secret) wide += {letter, '\0'};
        EXPECT_EQ(bytes.find(wide), std::string::npos) << secret;
    }
    EXPECT_EQ(bytes.find(wanted.substr(0, 16)), std::string::npos);
    EXPECT_THAT(shown(), AllOf(HasSubstr("GetObjectInfo (0x1008)"),
                               HasSubstr("Data of GetObject (0x1009)"), HasSubstr(" 5012 ")));
}

TEST_F(RecordTest, holdsWhatWentWrongAndPlaysThatToo) {
    {
        VirtualCamera camera(cameraWith({"--storage", storage}));
        camera.tell("add random=5000 name=A.JPG");
        camera.tell("fault stall op=0x1009 at=0 count=1000");
        const auto recorded = record({}, {"unload", cam594, outside / "a"});
        EXPECT_EQ(recorded.status, 4) << recorded.error;  // the command's own
        EXPECT_THAT(shown(), AllOf(HasSubstr("Failed, error 32"), HasSubstr("Cancel transaction")));
    }
    VirtualCamera camera({"--replay", file});
    EXPECT_EQ(zlkcam({"unload", cam594, outside / "b"}).status, 4);
    EXPECT_EQ(zlkcam({"clock"}).status, 4);
    EXPECT_THAT(camera.tell("violations"), HasSubstr("never recorded: GetDevicePropValue"));
}

TEST_F(RecordTest, refusesWhatIsNoRecordingOrCutOff) {
    VirtualCamera camera(cameraWith({"--storage", storage}));
    camera.tell("add random=5000 name=A.JPG");
    ASSERT_EQ(record({}, {"list"}).status, 0);
    EXPECT_EQ(record({}, {"list"}).status, 6) << "the file is there already";
    const std::string whole = readFile(file);
    const auto replay = [&](const std::string& bytes) {
        writeFile(file, bytes);
        const auto shownResult = zlkcam({"record", "--show", file});
        const auto played = runProgram({programFolder() / "zlkcamsim", "--replay", file});
        EXPECT_EQ(played.status, 2);
        EXPECT_NE(played.error, "");
        return shownResult.status;
    };
    EXPECT_EQ(replay(whole.substr(0, whole.size() - 10)), 15);
    EXPECT_EQ(replay("no recording"), 15);
    EXPECT_EQ(replay(""), 15);
    std::string other = whole;
    other[other.find("\x01\0\0\0\x14", 1, 5) + 8] = 1;  // of Ethernet
    EXPECT_EQ(replay(other), 15);
    EXPECT_THAT(zlkcam({"record", "5AF1:7C37"}).status, 1);
    EXPECT_EQ(zlkcam({"record", "1234:5678", file, "--", "true"}).status, 9);
}

TEST_F(RecordTest, needsLibpcapOnlyToBeRead) {
    writeFile(outside / "libpcap.so.0.8", "no library");
    ::setenv("LD_LIBRARY_PATH", outside.c_str(), 1);
    {
        VirtualCamera camera(cameraWith({"--storage", storage}));
        ASSERT_EQ(record({}, {"list"}).status, 0);
    }
    const auto unread = expectZlkcam(13, {"record", "--show", file});
    EXPECT_THAT(unread.error, HasSubstr("libpcap isn't installed"));
    const auto played = runProgram({programFolder() / "zlkcamsim", "--replay", file});
    EXPECT_EQ(played.status, 2);
    EXPECT_THAT(played.error, HasSubstr("libpcap isn't installed"));
    ::unsetenv("LD_LIBRARY_PATH");
}

TEST_F(RecordTest, isReadByOthers) {
    if (runProgram({"tshark", "--version"}).status != 0) GTEST_SKIP() << "tshark isn't here";
    VirtualCamera camera(cameraWith({"--storage", storage}));
    camera.tell("add random=5000 name=A.JPG");
    ASSERT_EQ(record({}, {"unload", cam594, outside / "a"}).status, 0);
    const auto told =
        runProgram({"tshark", "-r", file, "-T", "fields", "-e", "usb.idVendor", "-e",
                    "usb.bInterfaceClass", "-e", "usb.urb_len", "-e", "frame.comment"});
    EXPECT_EQ(told.status, 0) << told.error;
    EXPECT_THAT(told.output, AllOf(HasSubstr("0x5af1"), HasSubstr("0x06"),
                                   HasSubstr("5012\tData of GetObject (0x1009), transaction")));
    const auto bad = runProgram({"tshark", "-r", file, "-Y", "_ws.malformed"});
    EXPECT_EQ(bad.output, "");
}

TEST_F(RecordTest, isMadeForAnyProgramWhereTheSettingsSaySo) {
    ASSERT_EQ(zlkcam({"settings", "set", "Software\\Zephyr-Lanthorn\\Platform", "Record",
                      outside.string()})
                  .status,
              0);
    {
        VirtualCamera camera(cameraWith({"--storage", storage}));
        EXPECT_EQ(zlkcam({"list", cam594}).status, 0);
        EXPECT_EQ(zlkcam({"list", cam594}).status, 0);
        EXPECT_EQ(record({}, {"list"}).status, 2) << "there is one recording at a time";
        camera.tell("unplug");  // waits for what isn't written
    }
    std::vector<fs::path> files;
    for (const auto& entry : fs::directory_iterator(outside)) files.push_back(entry.path());
    ASSERT_EQ(files.size(), 1u);
    EXPECT_THAT(zlkcam({"record", "--show", files.front()}).output,
                HasSubstr("GetStorageIDs (0x1004)"));
}

}  // namespace
}  // namespace zlk::test
