// Several processes on one camera and one session.

#include <signal.h>

#include <chrono>
#include <memory>
#include <random>
#include <thread>

#include "tests/support/Json.h"
#include "tests/usbscan/Camera.h"

namespace zlk::test {
namespace {

constexpr std::uint32_t smallSize = 3000, largeSize = 1'000'000;

/// Some transaction of every kind; false if its answer isn't its own.
bool transact(ZlPTPdrv& camera, unsigned which) {
    switch (which % 5) {
        case 0:
            return camera.getNumberObjects(0xFFFFFFFF, 0, 0) == 2;
        case 1:
            return camera.getObjectInfo(1).ObjectCompressedSize == smallSize;
        case 2:
            return objectOf(camera, 1, smallSize) == randomBytes(smallSize);
        case 3: {
            PropertyValue value;
            value.value8 = 50;
            // A camera sets no battery; what it says is a response all the same.
            return raisedBy([&] { camera.setDevicePropValue(0x5001, value, 2); }) >= 0x2000;
        }
        default: {
            std::uint8_t part[100];
            const auto whole = randomBytes(smallSize);
            return camera.getPartialObject(1, which % 2900, 100, part) == 100 &&
                   std::equal(part, part + 100, whole.begin() + which % 2900);
        }
    }
}

/// Arguments: how many transactions.
ZLK_CHILD(transacts) {
    JoinedCamera camera;
    child.say("joined");
    child.hear();
    const unsigned count = static_cast<unsigned>(std::stoul(child.arguments[0]));
    for (unsigned i = 0; i < count; ++i)
        if (!transact(camera, i * 7 + static_cast<unsigned>(::getpid()))) return 1;
    return 0;
}

ZLK_CHILD(readsForEver) {
    JoinedCamera camera;
    std::vector<std::uint8_t> bytes(largeSize);
    child.say("reads");
    for (unsigned i = 0;; ++i) {
        camera.getObject(2, bytes.data(), largeSize, nullptr);
        camera.getNumberObjects(0xFFFFFFFF, 0, 0);
        sendObject(camera, bytes);
    }
}

/// One transaction for each line that it hears. Arguments: an object's handle and size.
ZLK_CHILD(reads) {
    JoinedCamera camera;
    const auto handle = static_cast<std::uint32_t>(std::stoul(child.arguments[0]));
    const auto size = static_cast<std::uint32_t>(std::stoul(child.arguments[1]));
    const auto whole = randomBytes(size);
    for (child.say("joined"); !child.hear().empty();)
        child.say(objectOf(camera, handle, size) == whole ? "done" : "wrong");
    return 0;
}
struct Reader : ChildProcess {
    Reader(const char* handle, std::uint32_t size)
        : ChildProcess("reads", {handle, std::to_string(size)}) {
        EXPECT_EQ(hear(), "joined");
    }
};

TEST(Sharing, sixProcessesTakeTurnsWithoutALostTransaction) {
    Camera camera;
    camera.add(smallSize);
    camera.add(10);
    std::vector<std::unique_ptr<ChildProcess>> clients;
    for (int i = 0; i < 6; ++i)
        clients.push_back(
            std::make_unique<ChildProcess>("transacts", std::vector<std::string>{"1000"}));
    for (const auto& client : clients) ASSERT_EQ(client->hear(), "joined");
    for (const auto& client : clients) client->say("go");
    for (const auto& client : clients) EXPECT_EQ(client->wait(), 0);
    camera.expectNoViolations();
    // Of one session: getDeviceInfo is in none of them, and five of six found it open.
    const std::string stats = camera.tell("stats");
    EXPECT_EQ(Json::parse(stats)["transactions"].text, "6006");
    EXPECT_EQ(Json::parse(stats)["repeatedIds"].text, "0");
}

TEST(Sharing, aClientThatIsKilledAnywhereLosesNothingForTheOthers) {
    const char* const often = std::getenv("ZLK_KILLS");
    const int kills = often ? std::atoi(often) : 200;
    Camera camera;
    camera.add(smallSize);
    camera.add(largeSize);
    Reader survivor("1", smallSize);
    std::mt19937 random(20261125);
    for (int i = 0; i < kills; ++i) {
        ChildProcess victim("readsForEver");
        ASSERT_EQ(victim.hear(), "reads");
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 15000));
        survivor.say("go");
        victim.kill();
        ASSERT_EQ(survivor.hear(), "done") << "after " << i << " kills";
    }
    camera.expectNoViolations();
    // Killed between the response and the counter; more than one a kill would be our fault.
    const std::string repeated = Json::parse(camera.tell("stats"))["repeatedIds"].text;
    RecordProperty("repeatedIds", repeated);
    EXPECT_LE(std::stoi(repeated), kills);
}

TEST(Sharing, aClientThatJoinsInTheMiddleGoesOnInTheSession) {
    Camera camera;
    camera.add(smallSize);
    Reader first("1", smallSize);
    camera.tell("fault slow phase=data op=0x1009 value=200");
    first.say("go");
    // Joins in the middle of a transaction.
    JoinedCamera second;
    EXPECT_EQ(second.getNumberObjects(0xFFFFFFFF, 0, 0), 1u);
    EXPECT_EQ(first.hear(), "done");
    first.say("go");
    EXPECT_EQ(first.hear(), "done");
    camera.expectNoViolations();
}

TEST(Sharing, aClientThatIsStoppedLosesNothingByIt) {
    setPlatform(u"TransferTimeout", 100);
    Camera camera;
    camera.add(smallSize);
    camera.add(8'000'000);
    Reader client("2", 8'000'000);
    for (int i = 0; i < 8; ++i) {
        client.say("go");
        std::this_thread::sleep_for(std::chrono::microseconds(500 * i));
        ::kill(client.pid(), SIGSTOP);
        std::this_thread::sleep_for(std::chrono::milliseconds(250));
        ::kill(client.pid(), SIGCONT);
        ASSERT_EQ(client.hear(), "done") << i;
    }
    camera.expectNoViolations();
}

TEST(Sharing, aHostThatIsKilledFailsItsClientsAtOnce) {
    auto camera = std::make_unique<Camera>();
    camera->add(smallSize);
    JoinedCamera engine;
    camera->tell("fault silence op=0x1009 phase=data");
    std::thread killer([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        camera->kill();
    });
    EXPECT_EQ(raisedBy([&] { objectOf(engine, 1, smallSize); }), PTP_TRANSPORT_ERROR);
    killer.join();
    EXPECT_EQ(raisedBy([&] { engine.getStorageIDs(); }), PTP_TRANSPORT_ERROR);
    camera = std::make_unique<Camera>();
    JoinedCamera again;
    EXPECT_EQ(again.getStorageIDs().size(), 1u);
    camera->expectNoViolations();
}

}  // namespace
}  // namespace zlk::test
