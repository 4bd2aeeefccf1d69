#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <filesystem>
#include <future>
#include <memory>
#include <sstream>
#include <string>
#include <thread>

#include "platform/text.h"
#include "ptp/ZlPTPdrv.h"
#include "tests/ptp/Raised.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TestMachine.h"
#include "transport/PtpSyncController.h"
#include "transport/PtpSyncVista.h"

namespace zlk::test {
namespace {

constexpr WCHAR first[] = u"\\\\.\\Usbscan0";
constexpr WCHAR second[] = u"\\\\.\\Usbscan1";

/// A shared table as a peer sees it.
class Peer {
  public:
    Peer(const char* name, DWORD size) { section_.make(name, size); }
    std::uint8_t* bytes() const { return static_cast<std::uint8_t*>(section_.view()); }
    template <class Entry>
    Entry& entry(int index) const {
        return reinterpret_cast<Entry*>(bytes() + 1)[index];
    }

  private:
    SharedSection section_;
};

struct CameraTable : Peer {
    CameraTable() : Peer("Global\\ZlPtpHandlesToCameras", 1024) {}
    CameraPortEntry& operator[](int index) const { return entry<CameraPortEntry>(index); }
    int count() const { return bytes()[0]; }
};

/// The id of a turn on the port, after which the next one is stored.
std::uint32_t turn(PTPSyncInterface& arbiter, const WCHAR* port, std::uint32_t next) {
    const std::uint32_t id = arbiter.getMutex(port);
    arbiter.releaseMutex(port, next);
    return id;
}

TEST(PtpSyncController, LaysItsTableOutForAllProcesses) {
    PtpSyncController arbiter;
    arbiter.setPort(first);
    const CameraTable table;
    ASSERT_EQ(table.count(), 2);
    EXPECT_STREQ(table[0].port, "zero");
    EXPECT_EQ(table[0].refCount, 1);
    EXPECT_STREQ(table[0].mutexName, "Global\\ZlPtpDrvMutexzero");
    EXPECT_EQ(std::memcmp(table.bytes() + 1 + 156, "\\\\.\\Usbscan0\0\0\0\0\0\0\0\0", 20), 0);
    EXPECT_STREQ(table[1].mutexName, "Global\\ZlPtpDrvMutexcan0");
    EXPECT_EQ(table.bytes()[1 + 156 + 152], 1);

    EXPECT_EQ(turn(arbiter, u"\\\\.\\USBSCAN0", 0x01020304), 0u);
    EXPECT_EQ(table.bytes()[1 + 156 + 148], 4);
    PtpSyncController other;
    other.setPort(first);
    EXPECT_EQ(table[0].refCount, 1);  // once a process
    EXPECT_EQ(table[1].refCount, 2);
    EXPECT_EQ(turn(other, first, 5), 0x01020304u);
    // Ids lead nowhere here, and take nobody's entry with them.
    for (int i = 0; i < 2; ++i) EXPECT_EQ(ZlPTPdrv(1u, 2u).getPortName().length, 0u);
    EXPECT_EQ(table.count(), 2);
}

TEST(PtpSyncController, RemovesAPortWithItsLastUser) {
    PtpSyncController arbiter;
    const WCHAR* const ports[] = {first, second, u"abc"};
    for (const WCHAR* port : ports) arbiter.setPort(port);
    arbiter.setPort(second);
    turn(arbiter, u"abc", 77);
    const CameraTable table;
    arbiter.removePort(second);
    EXPECT_EQ(table.count(), 4);
    EXPECT_EQ(table[2].refCount, 1);
    arbiter.removePort(second);
    ASSERT_EQ(table.count(), 3);
    EXPECT_STREQ(table[2].port, "abc");
    EXPECT_STREQ(table[2].mutexName, "Global\\ZlPtpDrvMutexabc");
    EXPECT_EQ(table[2].transactionID, 77u);
    arbiter.removePort(u"nobody's");
    EXPECT_EQ(table.count(), 3);
    EXPECT_EQ(raisedBy([&] { arbiter.getMutex(second); }), PTP_GENERAL_ERROR);
}

TEST(PtpSyncController, FindsAPortByItsBeginning) {
    PtpSyncController arbiter;
    arbiter.setPort(u"\\\\.\\Usbscan10");
    arbiter.setPort(second);
    const CameraTable table;
    EXPECT_EQ(table.count(), 2);
    EXPECT_EQ(table[1].refCount, 2);
}

TEST(PtpSyncController, RefusesWhatDoesNotFit) {
    PtpSyncController arbiter;
    const std::u16string longest(19, u'x');
    arbiter.setPort(longest.c_str());
    EXPECT_EQ(raisedBy([&] { arbiter.setPort((longest + u"x").c_str()); }), PTP_GENERAL_ERROR);
    for (const WCHAR* port : {u"a", u"b", u"c", u"d"}) arbiter.setPort(port);
    const CameraTable table;
    EXPECT_EQ(table.count(), 6);
    const std::string before(reinterpret_cast<char*>(table.bytes()), 1024);
    EXPECT_EQ(raisedBy([&] { arbiter.setPort(u"e"); }), PTP_GENERAL_ERROR);
    EXPECT_EQ(before, std::string(reinterpret_cast<char*>(table.bytes()), 1024));

    // A count that lies is believed as far as the section reaches.
    table.bytes()[0] = 255;
    EXPECT_EQ(raisedBy([&] { arbiter.getMutex(u"e"); }), PTP_GENERAL_ERROR);
    EXPECT_EQ(raisedBy([&] { arbiter.setPort(u"e"); }), PTP_GENERAL_ERROR);
    arbiter.removePort(u"a");
    EXPECT_EQ(table.count(), 5);
    // A name of a mutex that isn't ended, or is none.
    std::memset(table[1].mutexName, '\\', sizeof table[1].mutexName);
    EXPECT_EQ(raisedBy([&] { arbiter.getMutex(longest.c_str()); }), PTP_GENERAL_ERROR);
}

ZLK_CHILD(diesInItsTurn) {
    PtpSyncController arbiter;
    arbiter.setPort(first);
    child.say(std::to_string(turn(arbiter, first, 100)));
    child.say(std::to_string(arbiter.getMutex(first)));
    child.hear();
    return 0;
}

TEST(PtpSyncController, GoesOnFromWhatADeadHolderStoredLast) {
    PtpSyncController arbiter;
    arbiter.setPort(first);
    ChildProcess holder("diesInItsTurn");
    ASSERT_EQ(holder.hear(), "0");
    ASSERT_EQ(holder.hear(), "100");
    EXPECT_EQ(CameraTable()[0].refCount, 2);
    holder.kill();
    EXPECT_EQ(turn(arbiter, first, 101), 100u);
}

ZLK_CHILD(comesAndGoes) {
    const std::u16string port = wideText(child.arguments.at(0));
    child.say("ready");
    child.hear();
    for (int i = 0; i < 300; ++i) {
        PtpSyncController arbiter;
        arbiter.setPort(port.c_str());
        // The entry is new, and moves whenever one before it goes.
        if (turn(arbiter, port.c_str(), 7) != 0 || turn(arbiter, port.c_str(), 8) != 7) return 1;
        arbiter.removePort(port.c_str());
    }
    child.say("done");
    return 0;
}

TEST(PtpSyncController, LosesNoEntryOfProcessesThatComeAndGoTogether) {
    PtpSyncController arbiter;  // keeps the table
    ChildProcess children[] = {
        ChildProcess("comesAndGoes", {"a"}), ChildProcess("comesAndGoes", {"b"}),
        ChildProcess("comesAndGoes", {"c"}), ChildProcess("comesAndGoes", {"d"})};
    for (ChildProcess& child : children) ASSERT_EQ(child.hear(), "ready");
    for (ChildProcess& child : children) child.say("go");
    for (ChildProcess& child : children) EXPECT_EQ(child.hear(), "done");
    const CameraTable table;
    EXPECT_EQ(table.count(), 1);
}

/// Whether another thread can have a port's mutex at once.
bool isFree(const char* mutexName) {
    return std::async(std::launch::async,
                      [&] {
                          const UniqueHandle mutex(CreateMutexA(nullptr, 0, mutexName));
                          return WaitForSingleObject(mutex.get(), 0) == WAIT_OBJECT_0;
                      })
        .get();
}

TEST(PtpSyncController, KeepsNothingOfAPortThatWentWhileItWaited) {
    auto holder = std::make_unique<PtpSyncController>();
    holder->setPort(first);
    holder->getMutex(first);
    std::thread waiter([] {
        PtpSyncController arbiter;
        EXPECT_EQ(raisedBy([&] { arbiter.getMutex(first); }), PTP_GENERAL_ERROR);
        EXPECT_TRUE(isFree("Global\\ZlPtpDrvMutexcan0"));
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    holder->removePort(first);
    holder.reset();
    waiter.join();
}

ZLK_CHILD(diesInARemoval) {
    const UniqueHandle mutex(CreateMutexA(nullptr, 0, "Global\\ZlPtpTableMutex"));
    WaitForSingleObject(mutex.get(), INFINITE);
    const CameraTable table;
    table[1].transactionID = 99;  // not copied yet
    std::memcpy(table[1].port, table[2].port, sizeof table[1].port);
    child.say("half");
    child.hear();
    return 0;
}

TEST(PtpSyncController, EndsARemovalInWhichAnotherDied) {
    PtpSyncController arbiter;
    for (const WCHAR* port : {u"a", u"b", u"c"}) arbiter.setPort(port);
    turn(arbiter, u"b", 5);
    ChildProcess child("diesInARemoval");
    ASSERT_EQ(child.hear(), "half");
    child.kill();
    EXPECT_EQ(turn(arbiter, u"b", 6), 5u);
    const CameraTable table;
    ASSERT_EQ(table.count(), 3);
    EXPECT_EQ(table[1].transactionID, 6u);
    EXPECT_STREQ(table[2].port, "c");
}

int descriptorsOpen() {
    return static_cast<int>(
        std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

struct PathTable : Peer {
    PathTable() : Peer("Global\\ZlPtpWPDHandlesToCameras", 4096) {
        add("usb#vid_5af1&pid_7c36#1", 0x5AF1, 0x7C36);
        add("usb#vid_5af1&pid_7c36#2", 0x5AF1, 0x7C36);
    }
    void add(const std::string& port, std::uint32_t vid, std::uint32_t pid) {
        DevicePathEntry& added = entry<DevicePathEntry>(bytes()[0]++);
        port.copy(added.port, sizeof added.port - 1);
        added.vid = vid;
        added.pid = pid;
        added.transactionID = 9;
    }
};

TEST(PtpSyncVista, TakesTurnsByTheOwnersTable) {
    PtpSyncVista early;
    early.setPort(u"anything");
    EXPECT_EQ(early.findPortbyVidPid(0x5AF1, 0x7C36).length, 0u);
    EXPECT_EQ(raisedBy([&] { early.getMutex(u"anything"); }), PTP_GENERAL_ERROR);

    const PathTable table;
    PtpSyncVista arbiter;
    const wString port = arbiter.findPortbyVidPid(0x5AF1, 0x7C36);
    EXPECT_EQ(port.view(), u"usb#vid_5af1&pid_7c36#1");
    EXPECT_EQ(arbiter.findPortbyVidPid(1, 2).length, 0u);
    const std::string before(reinterpret_cast<char*>(table.bytes()), 4096);
    arbiter.setPort(port.c_str());
    arbiter.removePort(port.c_str());
    arbiter.updatePortInfo(port.c_str(), 1, 2);
    EXPECT_EQ(before, std::string(reinterpret_cast<char*>(table.bytes()), 4096));

    EXPECT_EQ(arbiter.getMutex(port.c_str()), 9u);
    const UniqueHandle mutex(
        OpenMutexA(0x100000, 0, "Global\\ZlPtpWPDMutexusb#vid_5af1&pid_7c36#1"));
    EXPECT_TRUE(mutex);
    arbiter.releaseMutex(port.c_str(), 10);
    EXPECT_EQ(turn(arbiter, port.c_str(), 11), 10u);
    EXPECT_EQ(raisedBy([&] { arbiter.getMutex(std::u16string(200, u'x').c_str()); }),
              PTP_GENERAL_ERROR);
}

TEST(PtpSyncVista, KeepsTheMutexesThatItMadeToTheEndOfTheProcess) {
    const PathTable table;
    const auto exists = [](int device) {
        const std::string name = "Global\\ZlPtpWPDMutexusb#vid_5af1&pid_7c36#";
        return bool(UniqueHandle(OpenMutexA(0x100000, 0, (name + std::to_string(device)).c_str())));
    };
    const int descriptors = descriptorsOpen();
    for (int round = 0; round < 20; ++round) {
        PtpSyncVista arbiter;
        for (const WCHAR* port : {u"usb#vid_5af1&pid_7c36#1", u"usb#vid_5af1&pid_7c36#2"})
            turn(arbiter, port, 9);
        EXPECT_TRUE(exists(1) && exists(2));
    }
    EXPECT_TRUE(exists(1) && exists(2));
    EXPECT_LE(descriptorsOpen(), descriptors + 3);  // one a mutex, and the table
}

TEST(PtpSyncVista, LeavesTheTableMappedOnceHoweverManyComeAndGo) {
    const auto mappings = [] {
        std::istringstream maps(readFile("/proc/self/maps"));
        int count = 0;
        for (std::string line; std::getline(maps, line);)
            if (line.ends_with("ZlPtpWPDHandlesToCameras")) ++count;
        return count;
    };
    auto owner = std::make_unique<PathTable>();
    for (int i = 0; i < 5; ++i) PtpSyncVista().setPort(u"anything");
    owner.reset();
    EXPECT_EQ(mappings(), 1);
    EXPECT_EQ(PtpSyncVista().findPortbyVidPid(0x5AF1, 0x7C36).view(), u"usb#vid_5af1&pid_7c36#1");
}

}  // namespace
}  // namespace zlk::test
