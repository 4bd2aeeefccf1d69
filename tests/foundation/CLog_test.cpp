#include "foundation/CLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstring>
#include <map>

#include "foundation/TraceLine.h"
#include "platform/clock.h"
#include "platform/modules.h"
#include "tests/platform/NamedObjects.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TestMachine.h"

namespace zlk::test {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::Pair;

/// The viewer's side of the log: makes the buffer, filled with 0xAA, and switches the log on.
class Viewer {
  public:
    explicit Viewer(DWORD size) : buffer_(makeSection(logBufferName, size)) {
        std::memset(bytes, 0xAA, size);
        control->writeOffset = 0;
        control->bufferSize = size;
        control->startTick = GetTickCount();
        control->enabled = 1;
    }
    ~Viewer() { control->enabled = 0; }
    Viewer(const Viewer&) = delete;
    Viewer& operator=(const Viewer&) = delete;

    std::string text(std::size_t from, std::size_t size) const {
        return {reinterpret_cast<const char*>(bytes) + from, size};
    }

  private:
    const UniqueHandle control_ = makeSection(logControlName, sizeof(LogControl)), buffer_;
    const View<std::uint8_t> content_ = viewOf<std::uint8_t>(buffer_);

  public:
    const View<LogControl> control = viewOf<LogControl>(control_);
    std::uint8_t* const bytes = content_.get();
};

/// The records in the buffer, each as "category:message"; fails the test where one isn't whole.
std::vector<std::string> records(const Viewer& viewer) {
    std::vector<std::string> found;
    for (std::size_t offset = 0; offset < viewer.control->writeOffset;) {
        const std::string rest = viewer.text(offset, viewer.control->writeOffset - offset);
        const std::size_t categoryEnd = rest.find('\0', 8);
        const std::size_t messageEnd = rest.find('\0', categoryEnd + 1);
        const bool whole = rest.substr(0, 2) == "\xFF\xFF" && rest.substr(6, 2) == "\x3F"s + '\0';
        EXPECT_TRUE(whole && categoryEnd < messageEnd && messageEnd != std::string::npos);
        if (testing::Test::HasFailure()) break;
        found.push_back(rest.substr(8, categoryEnd - 8) + ":" +
                        rest.substr(categoryEnd + 1, messageEnd - categoryEnd - 1));
        offset += messageEnd + 2;
    }
    return found;
}

void write(CLog& log, const std::u16string& message) {
    const FormatArgument text{message};
    log.writeLine("C", "%s", {&text, 1});
}

constexpr std::size_t around = 8 + 2 + 2;  // of a record with a category of one character

DWORD tick = 0;
DWORD testTick() {
    return tick;
}

TEST(CLog, StoresRecordsToTheByte) {
    setTestClock({testTick, nullptr});
    tick = 0xFFFFFF00;  // the tick count runs over while the log is on
    Viewer viewer(4096);
    CLog log;
    tick = 0x010202FF;
    const FormatArgument arguments[]{FormatArgument{5}, FormatArgument{u"\u00e4\u20ac"}};
    log.writeLine("CPTPCameraDev", "GetFile (%d) %s", arguments);
    setTestClock({});

    const std::string expected(
        "\xFF\xFF\xFF\x03\x02\x01\x3F\0CPTPCameraDev\0GetFile (5) "
        "\xC3\xA4\xE2\x82\xAC\0\xAA\xAA",
        42);
    EXPECT_EQ(viewer.text(0, 42), expected);
    EXPECT_EQ(viewer.control->writeOffset, 41u);  // after the gap, which isn't written
}

TEST(CLog, StartsAgainWhereTheRestIsTooShort) {
    struct Case {
        const char* name;
        std::u16string message;
        std::uint32_t left;
        bool wraps;
    };
    const std::u16string hundred(100, u'm');
    const std::u16string wide(100, u'\u20ac');  // three bytes each
    for (const Case& c :
         {Case{"one short", hundred, 299, true}, Case{"fits", hundred, 300, false},
          Case{"bytes don't fit", wide, 311, true}, Case{"bytes fit", wide, 312, false}}) {
        SCOPED_TRACE(c.name);
        Viewer viewer(4096);
        CLog log;
        const std::uint32_t start = 4096 - c.left;
        viewer.control->writeOffset = start;
        write(log, c.message);
        EXPECT_EQ(viewer.bytes[c.wraps ? 0 : start], 0xFF);
        EXPECT_EQ(viewer.bytes[c.wraps ? start : 0], c.wraps ? 0 : 0xAA);
        EXPECT_EQ(viewer.bytes[start - 1], 0xAA);
        if (c.wraps) {
            EXPECT_EQ(viewer.text(start, c.left), std::string(c.left, '\0'));
        }
    }
}

TEST(CLog, KeepsItsFormWhateverTheTextHolds) {
    Viewer viewer(1 << 20);
    CLog log;
    write(log, std::u16string(90'001, u'x'));  // too long: dropped
    write(log, std::u16string(90'000, u'\uFFFF'));
    EXPECT_EQ(viewer.control->writeOffset, 3 * 90'000 + around);
    viewer.control->writeOffset = 0;
    write(log, std::u16string(u"seen\0unseen", 11));
    write(log, std::u16string(1, u'\xD800'));  // no character: the record goes without a message
    log.writeLine("C", std::string(5000, 'f').c_str(), {});
    log.writeLine("C", "%s %d", {});  // arguments missing
    EXPECT_THAT(records(viewer),
                ElementsAre("C:seen", "C:", "C:" + std::string(1000, 'f'), "C:? ?"));
}

TEST(CLog, TrustsNoPeerWithTheRoomThatThereIs) {
    constexpr DWORD room = 4096;
    struct Case {
        std::uint32_t offset, size;
        std::uint32_t expected;  // writeOffset after a line of ten characters
    };
    constexpr std::uint32_t stored = 10 + around;
    for (const Case& c : {Case{0, 0xFFFFFFFF, stored}, Case{room - 10, 0xFFFFFFFF, stored},
                          Case{0xFFFFFFF0, 0xFFFFFFFF, stored}, Case{0xFFFFFFF0, room, stored},
                          Case{0x80000000, 0x80000100, stored}, Case{room + 1, room, stored},
                          Case{7, 0, 7}, Case{0, stored - 1, 0}, Case{0, stored, stored}}) {
        SCOPED_TRACE(testing::Message() << c.offset << " of " << c.size);
        Viewer viewer(room);
        CLog log;
        viewer.control->bufferSize = c.size;
        viewer.control->writeOffset = c.offset;
        write(log, u"0123456789");
        EXPECT_EQ(viewer.control->writeOffset, c.expected);
        if (c.size < stored) {
            EXPECT_EQ(viewer.bytes[0], 0xAA);
        }
        // Also a line that is dropped lets the next writer have its turn.
        std::thread([] {
            const UniqueHandle mutex(OpenMutexA(SYNCHRONIZE, 0, utf8Text(logMutexName).c_str()));
            EXPECT_EQ(WaitForSingleObject(mutex.get(), 0), WAIT_OBJECT_0);
            ReleaseMutex(mutex.get());
        }).join();
    }
}

TEST(CLog, IsOffForEveryValueButOne) {
    Viewer viewer(4096);
    CLog log;
    for (const std::uint8_t enabled : {0, 2, 255}) {
        viewer.control->enabled = enabled;
        EXPECT_FALSE(log.isOn() || log.isEnabled() || log.isEnabled("C"));
        write(log, u"lost");
    }
    EXPECT_EQ(viewer.control->writeOffset, 0u);
    viewer.control->enabled = 1;
    EXPECT_TRUE(log.isOn() && log.isEnabled() && log.isEnabled("C"));
}

TEST(CLog, MakesNoObjectsBeforeItHasABuffer) {
    CLog log;
    const UniqueHandle section = makeSection(logControlName);
    ASSERT_EQ(GetLastError(), ERROR_ALREADY_EXISTS);
    const auto control = viewOf<LogControl>(section);
    ASSERT_TRUE(control);
    control->enabled = 1;
    SetLastError(ERROR_BUSY);
    write(log, u"lost");
    EXPECT_EQ(GetLastError(), ERROR_BUSY) << "tracing changed the last error";
    EXPECT_FALSE(OpenFileMappingW(FILE_MAP_READ, false, logBufferName));
    const UniqueHandle mutex = makeMutex(logMutexName);
    EXPECT_EQ(GetLastError(), ERROR_SUCCESS) << "a mutex for nothing";
    control->enabled = 0;
}

constexpr int linesEach = 15'000;

ZLK_CHILD(tracer) {
    child.say("ready");
    child.hear();
    for (int i = 0; i < linesEach; ++i) TraceLine(child.arguments[0].c_str(), "%d", i);
    return 0;
}

TEST(CLog, KeepsTheRecordsOfTwoProcessesWhole) {
    Viewer viewer(1 << 20);
    ChildProcess one("tracer", {"one"}), other("tracer", {"and another"});
    for (ChildProcess* child : {&one, &other}) ASSERT_EQ(child->hear(), "ready");
    for (ChildProcess* child : {&one, &other}) child->say("go");
    for (ChildProcess* child : {&one, &other}) EXPECT_EQ(child->wait(), 0);

    std::map<std::string, int> seen;
    for (const std::string& record : records(viewer)) {
        const std::string writer = record.substr(0, record.find(':'));
        ASSERT_EQ(record, writer + ":" + std::to_string(seen[writer]++));
    }
    EXPECT_THAT(seen, ElementsAre(Pair("and another", linesEach), Pair("one", linesEach)));
}

ZLK_CHILD(tracerThatIsKilled) {
    for (int i = 0;; ++i) {
        TraceLine("K", "%d", i);
        if (i == 100) child.say("writing");
    }
}

TEST(CLog, GoesOnAfterAWriterWasKilled) {
    Viewer viewer(1 << 16);
    CLog log;
    for (int round = 0; round < 5; ++round) {
        ChildProcess writer("tracerThatIsKilled");
        ASSERT_EQ(writer.hear(), "writing");
        writer.kill();
        viewer.control->writeOffset = 0;
        write(log, u"next");
        EXPECT_THAT(records(viewer), ElementsAre("C:next"));
    }
}

TEST(CLog, OfAForkedChildIsItsOwn) {
    Viewer viewer(1 << 16);
    TraceLine("Test", "parent");
    EXPECT_EQ(forked([] {
                  TraceLine("Test", "child");
                  return 0;
              }),
              0);
    TraceLine("Test", "parent again");
    EXPECT_THAT(records(viewer), ElementsAre("Test:parent", "Test:child", "Test:parent again"));
}

TEST(CLog, CarriesWhatThePlatformHasToSay) {
    const auto module = newFolder() / "foreign.so";
    writeFile(module, "not a module");
    ::chmod(module.c_str(), 0666);
    Viewer viewer(1 << 16);
    TraceLine("Test", "first");
    LoadLibraryW(pathText(module).c_str());
    TraceLine("Test", "second");
    EXPECT_THAT(records(viewer),
                ElementsAre("Test:first", testing::HasSubstr(module.string()), "Test:second"));
}

}  // namespace
}  // namespace zlk::test
