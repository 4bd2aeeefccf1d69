#include <gmock/gmock.h>
#include <signal.h>

#include <cstring>
#include <thread>

#include "ZlkCamTr.h"
#include "platform/named_objects.h"
#include "platform/text.h"
#include "tests/support/Modules.h"
#include "tests/tools/ZlkCam.h"

namespace zlk::test {
namespace {

constexpr int linesEach = 300;

/// The log's control block, as every traced process has it open.
class Control {
  public:
    Control()
        : section_(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, 16,
                                      u"ZLGlimmerBoxLogCtrlMemory")),
          view_(static_cast<volatile BYTE*>(
              MapViewOfFile(section_.get(), FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, 0))) {}
    bool enabled() const { return view_[0] == 1; }
    void waitUntilEnabled() const {
        while (!enabled()) std::this_thread::yield();
    }
    volatile DWORD& field(std::size_t index) const {
        return *(reinterpret_cast<volatile DWORD*>(view_) + index);
    }

  private:
    UniqueHandle section_;
    volatile BYTE* view_;
};

void writeLines(const std::string& name, int count) {
    ComPtr<IDeviceUtils> utils;
    ASSERT_EQ(utils.create(u"ZlkCamTr.DeviceUtils"), S_OK);
    for (int i = 0; i < count; ++i) {
        Bstr answer;
        const std::u16string id = wideText("#" + name + "#" + std::to_string(i) + "#");
        utils->ContextIdToTSBInterface(Bstr(id).get(), answer.out());
    }
}

/// What one of those questions traces, among other lines.
std::string splitLine(const std::string& name, int number) {
    return "SplitContextId(#" + name + "#" + std::to_string(number) + "#)";
}

ZLK_CHILD(writesTrace) {
    child.say("ready");
    child.hear();
    writeLines(child.arguments.at(0), linesEach);
    child.say("done");
    child.hear();
    return 0;
}

TEST(Trace, showsTheLinesOfAllProcessesAndSwitchesOffAtItsEnd) {
    ASSERT_GE(registerModules(), 1);
    const Control control;
    ChildProcess first("writesTrace", {"first"}), second("writesTrace", {"second"});
    ASSERT_EQ(first.hear(), "ready");
    ASSERT_EQ(second.hear(), "ready");

    RunningZlkCam viewer({"trace", "--json"});
    control.waitUntilEnabled();
    const ProgramResult refused = zlkcam({"trace", "--json"});
    EXPECT_EQ(refused.status, 16);
    EXPECT_EQ(Json::parse(refused.output)["error"]["status"].text, "16");
    ASSERT_TRUE(control.enabled());

    first.say("go");
    second.say("go");
    ASSERT_EQ(first.hear(), "done");
    ASSERT_EQ(second.hear(), "done");
    viewer.signal(SIGINT);
    const ProgramResult result = viewer.wait();
    EXPECT_EQ(result.status, 0);
    EXPECT_FALSE(control.enabled());
    const std::vector<std::string> messages = Json::parse(result.output)["records"].each("message");
    for (const std::string name : {"first", "second"}) {
        // Each line once, in the writer's order, whatever the other one wrote meanwhile.
        int next = 0;
        for (const std::string& message : messages) {
            if (!message.starts_with("SplitContextId(#" + name + "#")) continue;
            EXPECT_EQ(message, splitLine(name, next++));
        }
        EXPECT_EQ(next, linesEach);
    }
    // The writers still have the buffer; the next viewer uses it again.
    RunningZlkCam next({"trace"});
    control.waitUntilEnabled();
    next.signal(SIGTERM);
    EXPECT_EQ(next.wait().status, 0);
    EXPECT_FALSE(control.enabled());
}

TEST(Trace, survivesAPeerThatWritesNonsenseIntoTheControlBlock) {
    ASSERT_GE(registerModules(), 1);
    const Control control;
    RunningZlkCam viewer({"trace", "--json"});
    control.waitUntilEnabled();
    for (const DWORD value : {0xFFFFFFFFu, 0x7FFFFFFFu, 9u << 20}) {
        control.field(1) = value;
        control.field(2) = value;
        while (control.field(1) == value || control.field(2) == value) std::this_thread::yield();
    }
    writeLines("after", 3);
    viewer.signal(SIGINT);
    const ProgramResult result = viewer.wait();
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(Json::parse(result.output)["records"].each("message"),
                testing::Contains(splitLine("after", 2)));
}

TEST(Trace, aKilledViewerLeavesTheWayFree) {
    const Control control;
    {
        RunningZlkCam killed({"trace"});
        control.waitUntilEnabled();
    }
    EXPECT_TRUE(control.enabled());  // nobody was left to switch it off
    control.field(1) = 77;
    RunningZlkCam viewer({"trace"});
    while (control.field(1) != 0) std::this_thread::yield();
    control.waitUntilEnabled();
    viewer.signal(SIGHUP);
    EXPECT_EQ(viewer.wait().status, 0);
    EXPECT_FALSE(control.enabled());
}

}  // namespace
}  // namespace zlk::test
