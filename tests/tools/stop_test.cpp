// A stop is heard within a second, whatever the client waits for, and ends with a whole answer.

#include <gmock/gmock.h>

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

TEST_F(Stop, endsTheWaitForACardThatSettles) {
    for (const Words& words :
         {Words{"unload", "E:", target}, {"list", "E:"}, {"thumbs", "E:", target}}) {
        SCOPED_TRACE(words[0]);
        RunningZlkCam(words).expectStop(700ms);
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
    while (!fs::exists(target / "A.JPG")) std::this_thread::yield();
    const JsonAnswer result = client.expectStop(700ms);
    EXPECT_THAT(result["files"].each("outcome"), ElementsAre("copied", "failed"));
    EXPECT_EQ(torsos(), 0u);
}

TEST(StopOfACamera, endsTheWaitForOneThatIsSilent) {
    ASSERT_GE(registerModules(), 1);
    VirtualCamera camera({"--vid", "0x5AF1", "--pid", "0x7C37", "--storage", newFolder()});
    camera.tell("add random=1000 name=A.JPG");
    const fs::path target = newFolder();
    for (const char* const silence : {"op=0x1007", "op=0x1009", "op=0x100B"}) {
        SCOPED_TRACE(silence);
        camera.tell(std::string("fault silence phase=command ") + silence);
        RunningZlkCam({"unload", "--delete", target / silence}).expectStop(1500ms);
        camera.tell("faults clear");
    }
    expectZlkcam(0, {"unload", "--delete", target});
}

}  // namespace
}  // namespace zlk::test
