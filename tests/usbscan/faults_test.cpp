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

/// What is done while the camera misbehaves.
struct Operation {
    const char* code;
    void (*run)(ZlPTPdrv& engine);
};

template <std::uint32_t handle, std::uint32_t bytes>
void expectObject(ZlPTPdrv& engine) {
    EXPECT_EQ(objectOf(engine, handle, bytes), randomBytes(bytes));
}

void readPart(ZlPTPdrv& engine) {
    const auto whole = randomBytes(size);
    std::vector<std::uint8_t> bytes(5000);
    bytes.resize(engine.getPartialObject(1, 0, 5000, bytes.data()));
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), whole.begin()));
}

void send(ZlPTPdrv& engine) {
    sendObject(engine, std::vector<std::uint8_t>(size));
}

void expectTwoObjects(ZlPTPdrv& engine) {
    EXPECT_EQ(engine.getNumberObjects(0xFFFFFFFF, 0, 0), 2u);
}

void expectTwoHandles(ZlPTPdrv& engine) {
    EXPECT_EQ(engine.getObjectHandles(0xFFFFFFFF, 0, 0).size(), 2u);
}

constexpr Operation reading{"0x1009", expectObject<1, size>};
constexpr Operation readingOdd{"0x1009", expectObject<2, oddSize>};
constexpr Operation readingPart{"0x101B", readPart};
constexpr Operation describing{"0x1008", [](ZlPTPdrv& engine) { engine.getObjectInfo(1); }};
constexpr Operation announcing{"0x100C", send}, sending{"0x100D", send};
constexpr Operation counting{"0x1006", expectTwoObjects}, listing{"0x1007", expectTwoHandles};

struct Case {
    const char* fault;  ///< what follows `fault`, but for the operation
    Operation operation;
    std::uint32_t raised;
    bool gone = false;  ///< so that it has to be plugged in again
};

void PrintTo(const Case& tried, std::ostream* out) {
    *out << tried.fault << ", operation " << tried.operation.code;
}

/// From another thread, since a port that its first user kept would open again for him.
std::uint32_t next() {
    std::uint32_t raised = 0;
    std::thread([&] {
        raised = raisedBy([] {
            JoinedCamera other;
            if (other.getStorageIDs().size() != 1) throw PTP_GENERAL_ERROR;
        });
    }).join();
    return raised;
}

constexpr std::uint32_t transport = PTP_TRANSPORT_ERROR, none = 0;

const Case cases[] = {
    {"unplug phase=command", reading, transport, true},
    {"unplug phase=data at=0", reading, transport, true},
    {"unplug phase=data at=50%", reading, transport, true},
    {"unplug phase=data at=100%", reading, transport, true},
    {"unplug phase=response", reading, transport, true},
    {"unplug phase=command", sending, transport, true},
    {"unplug phase=data at=50%", sending, transport, true},
    {"unplug phase=response", sending, transport, true},
    {"stall phase=command", reading, transport},
    {"stall phase=data", reading, transport},
    {"stall phase=data at=50%", reading, transport},
    {"stall phase=response", reading, transport},
    {"stall phase=after", reading, none},
    {"stall phase=command", sending, transport},
    {"stall phase=command", announcing, transport},
    {"stall phase=data", sending, transport},
    {"stall phase=response", sending, transport},
    {"silence phase=command", reading, transport},
    {"silence phase=data", reading, transport},
    {"silence phase=data at=50%", reading, transport},
    {"silence phase=response", reading, transport},
    {"silence phase=command", sending, transport},
    {"silence phase=data at=50%", sending, transport},
    {"silence phase=response", sending, transport},
    {"slow phase=data value=150", reading, none},
    {"slow phase=response value=150", sending, none},
    {"answer value=0x2019", reading, 0x2019},
    {"answer value=0x2003", readingPart, 0x2003},
    {"answer value=0x200C", sending, 0x200C},
    // Framing
    {"no-zero-packet", reading, none},
    {"glue", reading, none},
    {"split-header", reading, none},
    {"split-header phase=response", reading, none},
    {"split-header phase=response", counting, none},
    {"extra-byte", reading, transport},
    {"extra-zero-packet", reading, none},
    {"extra-zero-packet phase=response", sending, none},
    {"zero-packet-first phase=data", reading, none},
    {"zero-packet-first phase=response", sending, none},
    {"stale phase=data value=2", describing, PTP_GENERAL_ERROR},
    {"stale phase=response value=3", reading, none},
    {"zeros phase=response value=2", describing, transport},
    {"type phase=response value=4", sending, none},
    {"id phase=response", reading, none},
    {"id phase=data", reading, none},
    {"code phase=data value=0xBAAD", reading, 0xBAAD},
    // Lengths
    {"length phase=data value=0xFFFFFFFF", reading, PTP_OUT_OF_MEMORY},
    {"length phase=data value=0x80000000", reading, PTP_OUT_OF_MEMORY},
    {"length phase=data value=0x08000000", reading, PTP_NO_RESPONSE},
    {"length phase=data value=0x08000000", describing, transport},  // and then silence
    {"length phase=data value=0", reading, PTP_NO_RESPONSE},
    {"length phase=data value=0", readingOdd, transport},
    {"length phase=data value=11", readingOdd, transport},
    {"length phase=data value=11", describing, PTP_GENERAL_ERROR},
    {"truncate value=500", reading, PTP_INCOMPLETE_TRANSFER},
    {"truncate value=0", readingPart, none},
    {"truncate value=30", describing, PTP_GENERAL_ERROR},
    {"truncate value=8", listing, PTP_GENERAL_ERROR},
    {"grow value=100", readingPart, PTP_INCOMPLETE_TRANSFER},
    {"short at=5000", reading, transport},
};

class Faults : public testing::TestWithParam<Case> {};
INSTANTIATE_TEST_SUITE_P(Usb, Faults, testing::ValuesIn(cases));

TEST_P(Faults, endTheirOwnTransactionOnly) {
    const auto& [fault, operation, raised, gone] = GetParam();
    setPlatform(u"TransferTimeout", 500);
    Camera camera;
    camera.add(size);
    camera.add(oddSize);
    JoinedCamera engine;
    operation.run(engine);
    camera.tell("violations clear");
    camera.tell(std::string("fault ") + fault + " op=" + operation.code);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(raisedBy([&] { operation.run(engine); }), raised) << fault;
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
    setPlatform(u"TransferTimeout", 500);
    Camera camera;
    camera.add(size);
    ZlPTPdrv engine{wString(firstPort)}, bystander{wString(firstPort)};
    joinSession(engine);
    camera.tell("fault cancel-busy count=3");
    camera.tell("fault silence phase=data op=0x1009");
    EXPECT_EQ(raisedBy([&] { reading.run(engine); }), transport);
    EXPECT_EQ(bystander.getStorageIDs().size(), 1u);  // the session lives
    camera.tell("fault cancel-stall count=3");
    camera.tell("fault silence phase=data at=50% op=0x1009");
    EXPECT_EQ(raisedBy([&] { reading.run(engine); }), transport);
    // It was left in peace, and takes a new command.
    EXPECT_EQ(bystander.getStorageIDs().size(), 1u);
    camera.tell("violations clear");
    camera.tell("fault silence phase=data at=50% op=0x1009 count=2");
    EXPECT_EQ(raisedBy([&] { reading.run(engine); }), transport);
    EXPECT_EQ(raisedBy([&] { reading.run(engine); }), transport);
    // That didn't help, so it was reset. Nobody goes on in another session unawares.
    EXPECT_EQ(raisedBy([&] { bystander.getStorageIDs(); }), PTP_INVALID_HANDLE);
    EXPECT_EQ(next(), 0u);
}

ZLK_CHILD(opensASession) {
    child.say(std::to_string(raisedBy([] { JoinedCamera camera; })));
    return 0;
}

TEST(Recovery, letsASilentCameraCostAProcessOneTimeOut) {
    setPlatform(u"TransferTimeout", 500);
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
