#include <gmock/gmock.h>

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
struct Control {
    bool enabled() const { return (fields[0] & 0xFF) == 1; }
    void waitUntilEnabled() const {
        while (!enabled()) std::this_thread::yield();
    }

    const UniqueHandle section{CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0,
                                                  16, u"ZLGlimmerBoxLogCtrlMemory")};
    volatile DWORD* const fields = static_cast<volatile DWORD*>(
        MapViewOfFile(section.get(), FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, 0));
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
    RunningZlkCam viewer({"trace"});
    control.waitUntilEnabled();
    expectJson(16, {"trace"});

    first.say("go");
    second.say("go");
    ASSERT_EQ(first.hear(), "done");
    ASSERT_EQ(second.hear(), "done");
    ASSERT_TRUE(control.enabled());
    viewer.signal(SIGINT);
    const JsonAnswer result = viewer.expectEnd(0);
    EXPECT_FALSE(control.enabled());
    // Each line once, in its writer's order, whatever the other one wrote meanwhile.
    for (const std::string name : {"first", "second"}) {
        std::vector<std::string> seen, written;
        for (const std::string& message : result["records"].each("message"))
            if (message.starts_with("SplitContextId(#" + name)) seen.push_back(message);
        for (int i = 0; i < linesEach; ++i) written.push_back(splitLine(name, i));
        EXPECT_EQ(seen, written);
    }
    // The writers still have the buffer; the next viewer uses it again.
    RunningZlkCam next({"trace"});
    control.waitUntilEnabled();
    next.signal(SIGTERM);
    next.expectEnd(0);
    EXPECT_FALSE(control.enabled());
}

TEST(Trace, survivesAPeerThatWritesNonsenseIntoTheControlBlock) {
    ASSERT_GE(registerModules(), 1);
    const Control control;
    RunningZlkCam viewer({"trace"});
    control.waitUntilEnabled();
    for (const DWORD value : {0xFFFFFFFFu, 0x7FFFFFFFu, 9u << 20}) {
        control.fields[1] = value;
        control.fields[2] = value;
        while (control.fields[1] == value || control.fields[2] == value) std::this_thread::yield();
    }
    writeLines("after", 3);
    viewer.signal(SIGINT);
    const JsonAnswer result = viewer.expectEnd(0);
    EXPECT_THAT(result["records"].each("message"), testing::Contains(splitLine("after", 2)));
}

TEST(Trace, aKilledViewerLeavesTheWayFree) {
    const Control control;
    {
        RunningZlkCam killed({"trace"});
        control.waitUntilEnabled();
    }
    EXPECT_TRUE(control.enabled());  // nobody was left to switch it off
    control.fields[1] = 77;
    RunningZlkCam viewer({"trace"});
    while (control.fields[1] != 0) std::this_thread::yield();
    control.waitUntilEnabled();
    viewer.signal(SIGHUP);
    viewer.expectEnd(0);
    EXPECT_FALSE(control.enabled());
}

}  // namespace
}  // namespace zlk::test
