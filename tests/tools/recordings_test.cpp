// Devices that others made, as they were recorded (tests/recordings/): listed and unloaded once
// more.

#include <gmock/gmock.h>

#include <map>

#include "tests/support/VirtualCamera.h"
#include "tests/tools/CardTest.h"
#include "tests/usbscan/Camera.h"

namespace zlk::test {
namespace {

const std::map<std::string, std::size_t> files{{"full.jpg", 500},
                                               {"one.jpg", 700},
                                               {"Zürich.jpg", 3000},
                                               {"big.mov", 40'000},
                                               {"below.jpg", 1012}};

TEST(Recordings, areListedAndUnloadedByteForByte) {
    ASSERT_GE(registerModules(), 1);
    int played = 0;
    for (const auto& entry : fs::directory_iterator(ZLK_SOURCE_DIR "/tests/recordings")) {
        if (entry.path().extension() != ".pcapng") continue;
        SCOPED_TRACE(entry.path());
        VirtualCamera camera({"--replay", entry.path()});
        zlkcam({"adopt", "--yes"});
        const JsonAnswer list = expectJson(0, {"list"});
        EXPECT_EQ(list["files"].items.size(), files.size());
        const fs::path target = newFolder();
        const ProgramResult unloaded = expectZlkcam(0, {"unload", "--flat", target});
        for (const auto& [name, size] : files) {
            const std::vector<std::uint8_t> bytes = randomBytes(size, size);
            EXPECT_TRUE(readFile(target / name) == std::string(bytes.begin(), bytes.end())) << name;
        }
        EXPECT_EQ(camera.tell("violations"), "[]");
        ++played;
    }
    EXPECT_GE(played, 2);
}

}  // namespace
}  // namespace zlk::test
