// What a misbehaving camera does to a transaction, and that the next one is answered all the same.

#include <chrono>
#include <thread>

#include "tests/support/ChildProcess.h"
#include "tests/usbscan/Camera.h"

namespace zlk::test {
namespace {

// Its container fills its last packet, so that a packet of no bytes is due.
constexpr std::uint32_t size = 512 * 40 - 12;
constexpr std::uint32_t oddSize = 68'000;

enum Operation { Read, ReadOdd, ReadPart, Info, Announce, Send, Count, Handles };

struct Case {
    const char* fault;  ///< what stands behind `fault`, but for the operation
    Operation operation;
    std::uint32_t raised;
    bool gone = false;  ///< so that it has to be plugged in again
};

void PrintTo(const Case& tried, std::ostream* out) {
    *out << tried.fault << ", operation " << tried.operation;
}

const char* codeOf(Operation operation) {
    constexpr const char* codes[] = {" op=0x1009", " op=0x1009", " op=0x101B", " op=0x1008",
                                     " op=0x100C", " op=0x100D", " op=0x1006", " op=0x1007"};
    return codes[operation];
}

void run(ZlPTPdrv& engine, Operation operation) {
    std::vector<std::uint8_t> bytes(size);
    switch (operation) {
        case Read:
            engine.getObject(1, bytes.data(), size, nullptr);
            EXPECT_EQ(bytes, randomBytes(size));
            return;
        case ReadOdd:
            EXPECT_EQ(objectOf(engine, 2, oddSize), randomBytes(oddSize));
            return;
        case ReadPart: {
            const std::uint32_t count = engine.getPartialObject(1, 0, 5000, bytes.data());
            const auto whole = randomBytes(size);
            EXPECT_TRUE(count <= 5000 &&
                        std::equal(bytes.begin(), bytes.begin() + count, whole.begin()));
            return;
        }
        case Info:
            engine.getObjectInfo(1);
            return;
        case Announce:
        case Send:
            return sendObject(engine, bytes);
        case Count:
            EXPECT_EQ(engine.getNumberObjects(0xFFFFFFFF, 0, 0), 2u);
            return;
        case Handles:
            EXPECT_EQ(engine.getObjectHandles(0xFFFFFFFF, 0, 0).size(), 2u);
    }
}

/// From another thread, since a port that its first user kept would open again for him.
std::uint32_t next() {
    std::uint32_t raised = 0;
    std::thread([&] {
        raised = raisedBy([] {
            ZlPTPdrv other{wString(firstPort)};
            joinSession(other);
            if (other.getStorageIDs().size() != 1) throw PTP_GENERAL_ERROR;
        });
    }).join();
    return raised;
}

constexpr std::uint32_t transport = PTP_TRANSPORT_ERROR, none = 0;

const Case cases[] = {
    {"unplug phase=command", Read, transport, true},
    {"unplug phase=data at=0", Read, transport, true},
    {"unplug phase=data at=50%", Read, transport, true},
    {"unplug phase=data at=100%", Read, transport, true},
    {"unplug phase=response", Read, transport, true},
    {"unplug phase=command", Send, transport, true},
    {"unplug phase=data at=50%", Send, transport, true},
    {"unplug phase=response", Send, transport, true},
    {"stall phase=command", Read, transport},
    {"stall phase=data", Read, transport},
    {"stall phase=data at=50%", Read, transport},
    {"stall phase=response", Read, transport},
    {"stall phase=after", Read, none},
    {"stall phase=command", Send, transport},
    {"stall phase=command", Announce, transport},
    {"stall phase=data", Send, transport},
    {"stall phase=response", Send, transport},
    {"silence phase=command", Read, transport},
    {"silence phase=data", Read, transport},
    {"silence phase=data at=50%", Read, transport},
    {"silence phase=response", Read, transport},
    {"silence phase=command", Send, transport},
    {"silence phase=data at=50%", Send, transport},
    {"silence phase=response", Send, transport},
    {"slow phase=data value=150", Read, none},
    {"slow phase=response value=150", Send, none},
    {"answer value=0x2019", Read, 0x2019},
    {"answer value=0x2003", ReadPart, 0x2003},
    {"answer value=0x200C", Send, 0x200C},
    // Framing
    {"no-zero-packet", Read, none},
    {"glue", Read, none},
    {"split-header", Read, none},
    {"split-header phase=response", Read, none},
    {"split-header phase=response", Count, none},
    {"extra-byte", Read, transport},
    {"extra-zero-packet", Read, none},
    {"extra-zero-packet phase=response", Send, none},
    {"zero-packet-first phase=data", Read, none},
    {"zero-packet-first phase=response", Send, none},
    {"stale phase=data value=2", Info, PTP_GENERAL_ERROR},
    {"stale phase=response value=3", Read, none},
    {"zeros phase=response value=2", Info, transport},
    {"type phase=response value=4", Send, none},
    {"id phase=response", Read, none},
    {"id phase=data", Read, none},
    {"code phase=data value=0xBAAD", Read, 0xBAAD},
    // Lengths
    {"length phase=data value=0xFFFFFFFF", Read, PTP_OUT_OF_MEMORY},
    {"length phase=data value=0x80000000", Read, PTP_OUT_OF_MEMORY},
    {"length phase=data value=0x08000000", Read, PTP_NO_RESPONSE},
    {"length phase=data value=0x08000000", Info, transport},  // and then silence
    {"length phase=data value=0", Read, PTP_NO_RESPONSE},
    {"length phase=data value=0", ReadOdd, transport},
    {"length phase=data value=11", ReadOdd, transport},
    {"length phase=data value=11", Info, PTP_GENERAL_ERROR},
    {"truncate value=500", Read, PTP_INCOMPLETE_TRANSFER},
    {"truncate value=0", ReadPart, none},
    {"truncate value=30", Info, PTP_GENERAL_ERROR},
    {"truncate value=8", Handles, PTP_GENERAL_ERROR},
    {"grow value=100", ReadPart, PTP_INCOMPLETE_TRANSFER},
    {"short at=5000", Read, transport},
};

class Faults : public testing::TestWithParam<Case> {};
INSTANTIATE_TEST_SUITE_P(Usb, Faults, testing::ValuesIn(cases));

TEST_P(Faults, endTheirOwnTransactionOnly) {
    const auto& [fault, operation, raised, gone] = GetParam();
    setTransferTimeout(500);
    Camera camera;
    camera.add(size);
    camera.add(oddSize);
    ZlPTPdrv engine{wString(firstPort)};
    joinSession(engine);
    run(engine, operation);
    camera.tell("violations clear");
    camera.tell(std::string("fault ") + fault + codeOf(operation));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(raisedBy([&] { run(engine, operation); }), raised) << fault;
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    std::uint32_t vid = 0, pid = 0;
    EXPECT_EQ(raisedBy([&] { engine.checkConnection(&vid, &pid); }), gone ? transport : none);
    if (gone) {
        EXPECT_EQ(next(), PTP_NO_CONNECTION);
        camera.tell("plug");
    }
    EXPECT_EQ(next(), 0u);
    camera.expectNoViolations();
}

TEST(Recovery, resetsACameraThatRefusesToCancelAndSaysSoToItsClients) {
    setTransferTimeout(500);
    Camera camera;
    camera.add(size);
    ZlPTPdrv engine{wString(firstPort)}, bystander{wString(firstPort)};
    joinSession(engine);
    camera.tell("fault cancel-busy count=3");
    camera.tell("fault silence phase=data op=0x1009");
    EXPECT_EQ(raisedBy([&] { run(engine, Read); }), transport);
    EXPECT_EQ(bystander.getStorageIDs().size(), 1u);  // the session lives
    camera.tell("fault cancel-stall count=3");
    camera.tell("fault silence phase=data at=50% op=0x1009");
    EXPECT_EQ(raisedBy([&] { run(engine, Read); }), transport);
    // It was left in peace, and takes a new command.
    EXPECT_EQ(bystander.getStorageIDs().size(), 1u);
    camera.tell("violations clear");
    camera.tell("fault silence phase=data at=50% op=0x1009 count=2");
    EXPECT_EQ(raisedBy([&] { run(engine, Read); }), transport);
    EXPECT_EQ(raisedBy([&] { run(engine, Read); }), transport);
    // That didn't help, so it was reset. Nobody goes on in another session unawares.
    EXPECT_EQ(raisedBy([&] { bystander.getStorageIDs(); }), PTP_INVALID_HANDLE);
    EXPECT_EQ(next(), 0u);
}

ZLK_CHILD(opensASession) {
    child.say(std::to_string(raisedBy([] {
        ZlPTPdrv camera{wString(firstPort)};
        joinSession(camera);
    })));
    return 0;
}

TEST(Recovery, letsASilentCameraCostAProcessOneTimeOut) {
    setTransferTimeout(500);
    Camera camera;
    camera.tell("fault cancel-stall count=9");
    camera.tell("fault silence phase=command");
    const auto start = std::chrono::steady_clock::now();
    ZlPTPdrv engine{wString(firstPort)}, bystander{wString(firstPort)};
    EXPECT_EQ(raisedBy([&] { engine.openSession(); }), transport);
    for (int i = 0; i < 10; ++i) {
        EXPECT_NE(next(), 0u);
        EXPECT_EQ(raisedBy([&] { bystander.getStorageIDs(); }), transport);
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(1500));
    // Another process begins anew. For it the camera is silent the second time, and is reset.
    EXPECT_EQ(ChildProcess("opensASession").hear(), std::to_string(transport));
    EXPECT_EQ(ChildProcess("opensASession").hear(), "0");
    EXPECT_EQ(next(), 0u);
}

}  // namespace
}  // namespace zlk::test
