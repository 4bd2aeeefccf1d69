#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <map>
#include <regex>
#include <sstream>

#include "interfaces/IStatusEvent.h"
#include "platform/files.h"
#include "platform/system_log.h"
#include "tests/platform/registry_support.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Modules.h"
#include "tests/support/TestMachine.h"

namespace zlk::test {
namespace {

RegistryKey platformKey() {
    return createKey(HKEY_LOCAL_MACHINE, u"Software\\Zephyr-Lanthorn\\Platform");
}

void setEventLog(const std::u16string& value) {
    ASSERT_EQ(setText(platformKey().get(), u"EventLog", value), ERROR_SUCCESS);
}

HRESULT report(LONG id, LONG level, std::u16string_view text) {
    ComPtr<IStatusEvent> events;
    EXPECT_EQ(events.create(CLSID_StatusEvent), S_OK);
    return events ? events->Report(id, level, Bstr(text).get()) : E_UNEXPECTED;
}

struct StatusEvent : testing::Test {
    static void SetUpTestSuite() { registerModules(); }
    const std::filesystem::path file = newFolder() / "events.log";
};

TEST_F(StatusEvent, WritesEachEventAsOneLineOfTheFile) {
    setEventLog(pathText(file));
    EXPECT_EQ(report(1000, 1, u"M=539;FW=1.02;SN=4711;MINTEMP=-5;MAXTEMP=40"), S_OK);
    EXPECT_EQ(report(6, 1, u""), S_OK);
    EXPECT_EQ(report(-1, 2, u"a\nb\r\x1B[2J\u0085\u2028\\ \u00E9\xD83D"), S_OK);
    EXPECT_EQ(report(7, 1, std::u16string(100'000, u'x')), S_OK);

    std::istringstream lines(readFile(file));
    const std::string expected[] = {
        "event 1000, level 1: M=539;FW=1.02;SN=4711;MINTEMP=-5;MAXTEMP=40",
        "event 6, level 1",
        "event -1, level 2: a\\nb\\u000D\\u001B[2J\\u0085\\u2028\\\\ \u00E9\uFFFD",
        "event 7, level 1: " + std::string(2000, 'x') + "...",
    };
    std::string line;
    for (const std::string& text : expected) {
        ASSERT_TRUE(std::getline(lines, line));
        EXPECT_TRUE(std::regex_match(line.substr(0, 21),
                                     std::regex("\\d{4}-\\d\\d-\\d\\dT\\d\\d:\\d\\d:\\d\\dZ ")))
            << line;
        EXPECT_EQ(line.substr(21), text);
    }
    EXPECT_FALSE(std::getline(lines, line));
}

TEST_F(StatusEvent, NeedsNoFileAndSaysWhenItCannotWriteOne) {
    EXPECT_EQ(report(6, 1, u""), S_OK);
    const auto folder = newFolder();
    const DWORD number = 0;
    RegSetValueExW(platformKey().get(), u"EventLog", 0, REG_DWORD,
                   reinterpret_cast<const BYTE*>(&number), sizeof number);
    EXPECT_EQ(report(6, 1, u""), S_OK);
    setEventLog(std::u16string(5000, u'x'));
    EXPECT_EQ(report(6, 1, u""), S_OK);
    setEventLog(pathText(folder / "missing" / "events.log"));
    EXPECT_EQ(report(6, 1, u""), HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND));
    EXPECT_TRUE(std::filesystem::is_empty(folder));
}

constexpr int eventsOfEach = 200;

ZLK_CHILD(reportsManyEvents) {
    child.say("ready");
    child.hear();
    const std::u16string text(500, wideText(child.arguments[0])[0]);
    for (int i = 0; i < eventsOfEach; ++i)
        if (report(i, 1, text) != S_OK) return 1;
    return 0;
}

TEST_F(StatusEvent, NeverMixesTheLinesOfProcesses) {
    setEventLog(pathText(file));
    ChildProcess a("reportsManyEvents", {"a"});
    ChildProcess b("reportsManyEvents", {"b"});
    for (ChildProcess* child : {&a, &b}) ASSERT_EQ(child->hear(), "ready");
    for (ChildProcess* child : {&a, &b}) child->say("go");
    for (ChildProcess* child : {&a, &b}) ASSERT_EQ(child->wait(), 0);

    std::map<char, int> counts;
    std::istringstream lines(readFile(file));
    for (std::string line; std::getline(lines, line);) {
        ASSERT_FALSE(line.empty());
        const char writer = line.back();
        EXPECT_EQ(line.substr(21), "event " + std::to_string(counts[writer]++) +
                                       ", level 1: " + std::string(500, writer));
    }
    EXPECT_EQ(counts, (std::map<char, int>{{'a', eventsOfEach}, {'b', eventsOfEach}}));
}

TEST(SystemLog, SendsOneDatagramAndNeverWaits) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = newFolder() / "log";
    ASSERT_LT(path.size(), sizeof(address.sun_path));
    path.copy(address.sun_path, path.size());
    EXPECT_FALSE(writeSystemLog(LogSeverity::Informational, "test", "nobody", path.c_str()));

    const int log = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(log, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    ASSERT_TRUE(writeSystemLog(LogSeverity::Informational, "ZlkCamTr", "event 6", path.c_str()));
    char received[256];
    const ssize_t size = recv(log, received, sizeof(received), MSG_DONTWAIT);
    EXPECT_EQ(std::string(received, size > 0 ? size : 0),
              "<14>ZlkCamTr[" + std::to_string(getpid()) + "]: event 6");

    // A daemon that doesn't read: the queue is full after some lines, and those are lost.
    int sent = 0;
    while (sent < 100'000 && writeSystemLog(LogSeverity::Notice, "t", "x", path.c_str())) ++sent;
    EXPECT_LT(sent, 100'000);
    close(log);
}

}  // namespace
}  // namespace zlk::test
