// Whole operations on a virtual camera, over the road that real ones take, on both families.

#include <sys/time.h>

#include <csignal>
#include <memory>
#include <thread>

#include "tests/usbscan/Camera.h"

namespace zlk::test {
namespace {

class EitherFamily : public testing::TestWithParam<bool> {
  protected:
    void SetUp() override {
        if (GetParam()) setSecondFamily();
    }
    static std::unique_ptr<ZlPTPdrv> connect() {
        return GetParam() ? std::make_unique<ZlPTPdrv>(0x5AF1u, 0xC101u)
                          : std::make_unique<ZlPTPdrv>(wString(firstPort));
    }
    Camera camera{{"--vid", "0x5AF1", "--pid", "0xC101"}};
};
INSTANTIATE_TEST_SUITE_P(Usb, EitherFamily, testing::Bool());

TEST_P(EitherFamily, carriesObjectsBothWaysWhateverTheirLastPacketAndSetsProperties) {
    const auto engine = connect();
    std::uint32_t vid = 0, pid = 0;
    EXPECT_TRUE(engine->checkConnection(&vid, &pid));
    EXPECT_EQ(pid, 0xC101u);
    engine->openSession();
    ASSERT_EQ(engine->getStorageIDs().size(), 1u);
    // Around the sizes at which packets, pieces and buffers end, the head of 12 bytes included.
    for (const std::uint32_t size : {0u, 1u, 23u, 24u, 25u, 499u, 500u, 501u, 32756u, 131060u,
                                     131071u, 262132u, 262144u, 1000001u, 3000000u}) {
        SCOPED_TRACE(size);
        const auto whole = randomBytes(size, 7);
        sendObject(*engine, whole);
        const auto handles = engine->getObjectHandles(0xFFFFFFFF, 0, 0);
        ASSERT_EQ(handles.size(), 1u);
        EXPECT_EQ(engine->getObjectInfo(handles[0]).ObjectCompressedSize, size);
        EXPECT_EQ(objectOf(*engine, handles[0], size), whole);
        const std::uint32_t some = std::min(size, 500u);  // a container that fills its packet
        std::vector<std::uint8_t> part(some);
        EXPECT_EQ(engine->getPartialObject(handles[0], size - some, 500, part.data()), some);
        EXPECT_TRUE(std::equal(part.begin(), part.end(), whole.end() - some));
        engine->deleteObject(handles[0], 0);
        EXPECT_EQ(engine->getNumberObjects(0xFFFFFFFF, 0, 0), 0u);
    }
    PropertyValue value;
    value.text.assign(wString(u"20261125T013000"));
    engine->setDevicePropValue(0x5011, value, 0);
    const PropertyValue read = engine->getDevicePropValue(0x5011, 0xFFFF);
    EXPECT_EQ(std::u16string(read.text.c_str()).substr(0, 13), u"20261125T0130");
    camera.expectNoViolations();
}

TEST_P(EitherFamily, areGoneWhenUnpluggedAndThereAgainWithoutANewClaim) {
    const auto engine = connect();
    engine->openSession();
    camera.tell("unplug");
    for (int again = 0; again < 2; ++again)
        EXPECT_EQ(raisedBy([&] { engine->getStorageIDs(); }), PTP_TRANSPORT_ERROR);
    EXPECT_EQ(raisedBy([] { connect()->getDeviceInfo(); }), PTP_NO_CONNECTION);
    camera.tell("plug");
    const auto again = connect();
    again->openSession();
    EXPECT_EQ(again->getStorageIDs().size(), 1u);
    camera.expectNoViolations();
}

TEST(Camera, takesAnObjectWholeAlsoWhereSignalsInterruptTheWriter) {
    Camera camera;
    JoinedCamera engine;
    const auto whole = randomBytes(20'000'000, 7);
    struct sigaction interrupting {
    }, before{};
    interrupting.sa_handler = [](int) {};
    ::sigaction(SIGALRM, &interrupting, &before);
    const itimerval often{{0, 500}, {0, 500}}, never{};
    ::setitimer(ITIMER_REAL, &often, nullptr);
    sendObject(engine, whole);
    ::setitimer(ITIMER_REAL, &never, nullptr);
    ::sigaction(SIGALRM, &before, nullptr);
    const std::uint32_t handle = engine.getObjectHandles(0xFFFFFFFF, 0, 0).back();
    EXPECT_TRUE(objectOf(engine, handle, 20'000'000) == whole);
}

TEST(Camera, deliversEventsWhileAnotherThreadTransfers) {
    Camera camera;
    ZlPTPdrv engine{wString(firstPort)};
    engine.openSession();
    const std::uint32_t handle = camera.add(100000);
    EXPECT_EQ(engine.getEvent().code, 0x4002);  // the camera tells of it
    camera.tell("event 0x4003 6 split");
    const PtpEvent event = engine.getEvent();
    EXPECT_EQ(event.code, 0x4003);
    EXPECT_EQ(event.param1, 6u);
    setPlatform(u"EventTimeout", 50);
    ZlPTPdrv impatient{wString(firstPort)};
    EXPECT_EQ(impatient.getEvent().length, 0u);
    camera.tell("fault slow phase=data op=0x1009 value=300");
    std::thread transfer([&] {
        ZlPTPdrv other{wString(firstPort)};
        EXPECT_EQ(objectOf(other, handle, 100000), randomBytes(100000));
    });
    camera.tell("event 0x4004");
    EXPECT_EQ(engine.getEvent().code, 0x4004);
    transfer.join();
    camera.expectNoViolations();
}

}  // namespace
}  // namespace zlk::test
