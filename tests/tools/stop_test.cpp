// A stop is heard within a second, whatever the client waits for, and ends with a whole answer.

#include <gmock/gmock.h>

#include <chrono>
#include <thread>

#include "ZlkCamTr.h"
#include "platform/files.h"
#include "platform/named_objects.h"
#include "platform/text.h"
#include "tests/support/VirtualCamera.h"
#include "tests/tools/CardTest.h"

namespace zlk::test {
namespace {

using testing::ElementsAre;
using namespace std::chrono_literals;

class Stop : public CardTest {};

/// Lets it come to where it waits, and no further.
JsonAnswer stopped(RunningZlkCam& client, std::chrono::milliseconds after) {
    std::this_thread::sleep_for(after);
    client.signal(SIGINT);
    const auto start = std::chrono::steady_clock::now();
    JsonAnswer result = client.wait();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1000));
    EXPECT_EQ(result.status, 130);
    EXPECT_EQ(result["error"]["status"].text, "130");
    return result;
}

TEST_F(Stop, endsTheWaitForACardThatSettles) {
    for (const char* const command : {"unload", "list", "thumbs"}) {
        SCOPED_TRACE(command);
        std::vector<std::string> words{command, "E:"};
        if (words[0] != "list") words.push_back(target);
        RunningZlkCam client(words);
        stopped(client, 700ms);
    }
    addFile("A.JPG", "a");
    EXPECT_EQ(zlkcam({"unload", "E:", target}).status, 0) << "the claim is free again";
}

TEST_F(Stop, endsTheWaitForAFileThatSomebodyHasOpen) {
    addFile("A.JPG", "a");
    const std::u16string shut = wideText(addFile("B.JPG", "b").string());
    const UniqueHandle open(CreateFileW(shut.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    ASSERT_TRUE(open);
    RunningZlkCam client({"unload", "E:", target});
    while (!std::filesystem::exists(target / "A.JPG")) std::this_thread::yield();
    const JsonAnswer result = stopped(client, 700ms);
    EXPECT_THAT(result["files"].each("outcome"), ElementsAre("copied", "failed"));
    EXPECT_EQ(torsos(), 0u);
}

TEST(StopOfACamera, endsTheWaitForOneThatIsSilent) {
    ASSERT_GE(registerModules(), 1);
    VirtualCamera camera({"--vid", "0x5AF1", "--pid", "0x7C37", "--storage", newFolder()});
    camera.tell("add random=1000 name=A.JPG");
    const std::filesystem::path target = newFolder();
    for (const char* const silence : {"op=0x1007", "op=0x1009", "op=0x100B"}) {
        SCOPED_TRACE(silence);
        camera.tell(std::string("fault silence phase=command ") + silence);
        RunningZlkCam client({"unload", "--delete", target / silence});
        stopped(client, 1500ms);
        camera.tell("faults clear");
    }
    const ProgramResult after = zlkcam({"unload", "--delete", target});
    EXPECT_EQ(after.status, 0) << after.error;
}

}  // namespace
}  // namespace zlk::test
