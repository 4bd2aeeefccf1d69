#include "ptp/ZlPTPdrv.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <numeric>
#include <stdexcept>

#include "tests/ptp/Raised.h"
#include "tests/ptp/ScriptedPort.h"

namespace zlk::test {
namespace {

using testing::ElementsAre;

constexpr std::uint16_t command = 1, data = 2, response = 3, event = 4;

Bytes answer(std::uint16_t code, std::uint32_t id, const Bytes& parameters = {}) {
    return container(response, code, id, parameters);
}

Bytes pattern(std::size_t size) {
    Bytes bytes(size);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{1});
    return bytes;
}

/// A connected engine.
class Engine : public testing::Test {
  protected:
    ScriptedPort port;
    ZlPTPdrv engine{wString(u"\\\\.\\Usbscan0")};

    void camera(std::initializer_list<Bytes> transfers) {
        port.toHost.assign(transfers.begin(), transfers.end());
    }
    /// What `operation` raises; 0 for nothing. The port is free in either case.
    template <class Operation>
    std::uint32_t raised(Operation operation) {
        const std::uint32_t error = raisedBy(operation);
        EXPECT_EQ(port.held, 0);
        return error;
    }
};

struct Reports : ObjectProgressInterface {
    std::vector<std::int32_t> percents;
    bool reportProgress(std::int32_t percent) override {
        percents.push_back(percent);
        return false;  // which stops nothing
    }
    virtual ~Reports() = default;
};

TEST_F(Engine, SendsCommandsWithoutTheirTrailingZeros) {
    std::uint32_t vid = 0, pid = 0;
    const struct {
        std::function<void()> run;
        std::uint16_t code;
        Bytes parameters;
    } cases[] = {
        {[&] { engine.getDeviceInfo(); }, 0x1001, {}},
        {[&] { engine.closeSession(); }, 0x1003, {}},
        {[&] { engine.getStorageIDs(); }, 0x1004, {}},
        {[&] { engine.getStorageInfo(5); }, 0x1005, u32s({5})},
        {[&] { engine.getObjectHandles(5, 6, 7); }, 0x1007, u32s({5, 6, 7})},
        {[&] { engine.getObjectInfo(5); }, 0x1008, u32s({5})},
        {[&] { engine.getObject(5, nullptr, 0, nullptr); }, 0x1009, u32s({5})},
        {[&] { engine.getThumb(5, nullptr, 0); }, 0x100A, u32s({5})},
        {[&] { engine.initiateCapture(0, 0); }, 0x100E, {}},
        {[&] { engine.formatStore(0, 7); }, 0x100F, u32s({0, 7})},
        {[&] { engine.setObjectProtection(5, 0); }, 0x1012, u32s({5})},
        {[&] { engine.getDevicePropDesc(5); }, 0x1014, u32s({5})},
        {[&] { engine.ZLconnectedCameraId(&vid, &pid); }, 0x9700, {}},
    };
    for (const auto& one : cases) {
        const std::uint32_t id = port.nextId;
        camera({answer(ptpOk, id)});
        EXPECT_EQ(raised(one.run), 0u) << one.code;
        EXPECT_EQ(port.fromHost.back(), container(command, one.code, id, one.parameters));
        EXPECT_EQ(port.nextId, id + 1);
    }
}

TEST_F(Engine, SendsDataUnderTheIdOfItsCommand) {
    camera({answer(ptpOk, 7)});
    engine.sendObject("abcd", 4);
    EXPECT_THAT(port.fromHost, ElementsAre(hex("0C000000 0100 0D10 07000000"),
                                           hex("10000000 0200 0D10 07000000 61626364")));
    // Larger than the buffer, which grows for it.
    const Bytes picture = pattern(100'000);
    camera({answer(ptpOk, 8)});
    engine.sendObject(picture.data(), 100'000);
    EXPECT_EQ(port.fromHost.back(), container(data, 0x100D, 8, picture));
}

TEST_F(Engine, SetsPropertiesByTheTypeOfTheirCode) {
    PropertyValue value;
    value.value8 = 5;
    value.text.assign(wString(u"ab"));
    const struct {
        std::uint32_t code;
        std::uint16_t type;
        Bytes payload;
    } cases[] = {{0x5001, 0, hex("05")},
                 {0x5002, 0, hex("0500")},
                 {0xD001, 0, hex("05000000")},
                 {0x5011, 0, hex("03 6100 6200 0000")},
                 {0x5011, 4, hex("0500")}};
    for (const auto& one : cases) {
        camera({answer(ptpOk, port.nextId)});
        const std::uint32_t id = port.nextId;
        engine.setDevicePropValue(one.code, value, one.type);
        EXPECT_EQ(port.fromHost.back(), container(data, 0x1016, id, one.payload));
    }
    port.fromHost.clear();
    camera({answer(ptpOk, port.nextId)});
    engine.setDevicePropValue(0x5011, value, 3);  // INT16, which isn't understood
    EXPECT_EQ(port.fromHost.size(), 1u);
}

TEST_F(Engine, ReadsObjectsInPiecesAndToTheirNullPacket) {
    const Bytes picture = pattern(512 - 12);
    Bytes target(picture.size());
    Reports reports;
    // The container fills its last packet, so a packet of no bytes follows.
    camera({container(data, 0x1009, 7, picture), {}, answer(ptpOk, 7)});
    engine.getObject(5, target.data(), 500, &reports);
    EXPECT_EQ(target, picture);
    EXPECT_THAT(reports.percents, ElementsAre(100));
    EXPECT_EQ(port.reads, 4);

    const Bytes large = pattern(70'000);
    target.resize(large.size());
    reports.percents.clear();
    camera({container(data, 0x1009, 8, large), answer(ptpOk, 8)});
    engine.getObject(5, target.data(), 70'000, &reports);
    EXPECT_EQ(target, large);
    EXPECT_THAT(reports.percents, ElementsAre(47, 94, 100));

    camera({container(data, 0x1009, 9, picture), hex("00"), answer(ptpOk, 9)});
    EXPECT_EQ(raised([&] { engine.getObject(5, target.data(), 500, nullptr); }),
              PTP_TRANSPORT_ERROR);
}

TEST_F(Engine, AsksNobodyForANullPacketWhereTheTransportKnowsNoSize) {
    port.maxPacketSize = 0;
    ZlPTPdrv other{wString(u"\\\\.\\Usbscan0")};
    camera({container(data, 0x1004, 7, u32s({1, 0x10001})), answer(ptpOk, 7)});
    EXPECT_THAT(other.getStorageIDs(), ElementsAre(0x10001));
}

TEST_F(Engine, HandsOutNoByteThatWasNotReceived) {
    const Bytes four = hex("01020304");
    const Bytes untouched(8, 0xEE);
    Bytes target = untouched;
    // Shorter than the caller was told.
    camera({container(data, 0x100A, 7, four), answer(ptpOk, 7)});
    EXPECT_EQ(raised([&] { engine.getThumb(5, target.data(), 8); }), PTP_INCOMPLETE_TRANSFER);
    EXPECT_EQ(target, hex("01020304 EEEEEEEE"));
    EXPECT_TRUE(port.toHost.empty());  // the response was taken off the pipe

    // Longer.
    target = untouched;
    camera({container(data, 0x100A, 8, pattern(40)), answer(ptpOk, 8)});
    engine.getThumb(5, target.data(), 2);
    EXPECT_EQ(target, hex("0102 EEEEEEEEEEEE"));

    // A piece may be shorter, and not longer.
    target = untouched;
    camera({container(data, 0x101B, 9, four), answer(ptpOk, 9)});
    EXPECT_EQ(engine.getPartialObject(5, 0, 8, target.data()), 4u);
    target = untouched;
    camera({container(data, 0x101B, 10, four), answer(ptpOk, 10)});
    EXPECT_EQ(raised([&] { engine.getPartialObject(5, 0, 2, target.data()); }),
              PTP_INCOMPLETE_TRANSFER);
    EXPECT_EQ(target, hex("0102 EEEEEEEEEEEE"));
    EXPECT_EQ(engine.receivedData(), 4u);

    // No data phase at all is a success that touches nothing.
    target = untouched;
    camera({answer(ptpOk, 11)});
    engine.getObject(5, target.data(), 8, nullptr);
    EXPECT_EQ(target, untouched);
    EXPECT_EQ(engine.receivedData(), 0u);
}

TEST_F(Engine, SurvivesContainersThatLie) {
    const struct {
        const char* what;
        std::vector<Bytes> transfers;
        std::uint32_t error;
    } cases[] = {
        {"no bytes", {Bytes()}, PTP_NO_RESPONSE},
        {"a command in the place of a response", {container(command, 0x1004, 7)}, 0},
        {"no response", {container(data, 0x1004, 7, u32s({0})), {}}, PTP_NO_RESPONSE},
        {"4 GiB", {hex("FFFFFFFF 0200 0410 07000000")}, PTP_OUT_OF_MEMORY},
        {"above 256 MiB", {hex("01000010 0200 0410 07000000")}, PTP_OUT_OF_MEMORY},
        {"announced and not sent", {hex("40000000 0200 0410 07000000"), {}}, PTP_NO_RESPONSE},
        {"another operation's", {container(data, 0x1005, 7, pattern(4))}, 0x1005},
        {"refused", {answer(0x2013, 7)}, 0x2013},
        {"refused behind the data",
         {container(data, 0x1004, 7, u32s({0})), answer(0x2013, 7)},
         0x2013},
        {"more elements than bytes",
         {container(data, 0x1004, 7, u32s({0xFFFFFFFF, 1, 2})), answer(ptpOk, 7)},
         PTP_GENERAL_ERROR},
        {"a header cut short", {hex("0C0000000300")}, PTP_INCOMPLETE_TRANSFER},
        {"a length below the header's",
         {hex("04000000 0200 0410 07000000"), answer(ptpOk, 7)},
         PTP_GENERAL_ERROR},
        {"fewer elements than counted",
         {container(data, 0x1004, 7, u32s({2, 1})), answer(ptpOk, 7)},
         PTP_GENERAL_ERROR},
    };
    for (const auto& one : cases) {
        port.toHost.assign(one.transfers.begin(), one.transfers.end());
        const std::uint32_t before = port.nextId;
        const std::uint32_t error = raised([&] { engine.getStorageIDs(); });
        EXPECT_EQ(error, one.error) << one.what;
        EXPECT_EQ(port.nextId, before + 1) << one.what;
        // The next transaction works.
        camera(
            {container(data, 0x1004, port.nextId, u32s({3, 5, 0, 7})), answer(ptpOk, port.nextId)});
        EXPECT_THAT(engine.getStorageIDs(), ElementsAre(5, 7)) << one.what;
    }
}

TEST_F(Engine, RefusesNothingsBeforeItTakesThePort) {
    port.mutexError = PTP_GENERAL_ERROR;  // would be raised instead
    for (const auto& operation : std::initializer_list<std::function<void()>>{
             [&] { engine.getStorageInfo(0); }, [&] { engine.getNumberObjects(0, 0, 0); },
             [&] { engine.getObjectHandles(0, 0, 0); }}) {
        EXPECT_EQ(raised(operation), PTP_INVALID_STORAGE_ID);
    }
    for (const auto& operation : std::initializer_list<std::function<void()>>{
             [&] { engine.getObjectInfo(0); }, [&] { engine.getObject(0, nullptr, 0, nullptr); },
             [&] { engine.getThumb(0, nullptr, 0); }, [&] { engine.deleteObject(0, 1); },
             [&] { engine.setObjectProtection(0, 1); }, [&] { engine.moveObject(0, 1, 1); },
             [&] { engine.copyObject(0, 1, 1); }}) {
        EXPECT_EQ(raised(operation), PTP_INVALID_OBJECT_HANDLE);
    }
    EXPECT_TRUE(port.fromHost.empty());
}

TEST_F(Engine, StoresNoCounterOfAPortThatItDidNotGet) {
    port.mutexError = PTP_GENERAL_ERROR;
    port.nextId = 99;  // of whoever has it
    EXPECT_EQ(raised([&] { engine.closeSession(); }), PTP_GENERAL_ERROR);
    EXPECT_EQ(raised([&] { engine.openSession(); }), PTP_GENERAL_ERROR);
    EXPECT_EQ(port.nextId, 99u);
}

TEST_F(Engine, TakesResultsFromTheResponse) {
    camera({answer(ptpOk, 7, u32s({42, 43, 44, 45, 46}))});
    EXPECT_EQ(engine.getNumberObjects(1, 0, 0), 42u);
    camera({answer(ptpOk, 8, u32s({9}))});
    EXPECT_EQ(engine.copyObject(5, 1, 0), 9u);
    std::uint32_t vid = 0, pid = 0;
    camera({answer(ptpOk, 9, u32s({0x5AF1, 0x7C36}))});
    engine.ZLconnectedCameraId2(&vid, &pid);
    EXPECT_EQ(vid, 0x5AF1u);
    EXPECT_EQ(pid, 0x7C36u);
    EXPECT_EQ(port.fromHost.back(), hex("0C000000 0100 0297 09000000"));
    camera({answer(ptpOk, 10, u32s({0x5AF1}))});
    engine.ZLpressSaveButton(&vid, &pid);
    EXPECT_EQ(pid, 0u);
}

TEST_F(Engine, OpensASessionOrGoesOnInOneThatIsOpen) {
    camera({answer(ptpOk, 0)});
    engine.openSession();
    EXPECT_EQ(port.fromHost.back(), hex("10000000 0100 0210 00000000 01000000"));
    EXPECT_EQ(port.nextId, 1u);

    const struct {
        std::uint32_t counter, code, id, vid, pid, stored;
    } cases[] = {
        {0, PTP_SESSION_ALREADY_OPEN, 57, 1, 1, 58},            // the camera tells its count
        {0, PTP_SESSION_ALREADY_OPEN, 0, 1, 1, 0},              // or doesn't
        {12, PTP_SESSION_ALREADY_OPEN, 57, 1, 1, 12},           // another process counts already
        {12, PTP_INVALID_TRANSACTION_ID, 3, 1, 1, 12},          //
        {12, PTP_SESSION_ALREADY_OPEN, 0, 0x5AF1, 0x7C35, 13},  // counts what it refuses
    };
    for (const auto& one : cases) {
        port.nextId = one.counter;
        engine.setDeviceId(one.vid, one.pid);
        camera({answer(static_cast<std::uint16_t>(one.code), one.id)});
        EXPECT_EQ(raised([&] { engine.openSession(); }), one.code);
        EXPECT_EQ(port.nextId, one.stored);
    }
}

TEST_F(Engine, KnowsTheCameraByItsVendor) {
    std::uint32_t vid = 0, pid = 0;
    port.pid = 0x9999;
    EXPECT_TRUE(engine.checkConnection(&vid, &pid));
    EXPECT_EQ(pid, 0x9999u);
    port.vid = 1;
    EXPECT_FALSE(engine.checkConnection(&vid, &pid));
}

TEST_F(Engine, FreesThePortWhateverLeavesATransfer) {
    struct Thrown : Reports {
        bool reportProgress(std::int32_t) override { throw std::runtime_error("report"); }
    } reports;
    camera({container(data, 0x1009, 7, pattern(100))});
    Bytes target(100);
    EXPECT_THROW(engine.getObject(5, target.data(), 100, &reports), std::runtime_error);
    EXPECT_EQ(port.held, 0);
    camera({answer(ptpOk, 8)});
    EXPECT_EQ(raised([&] { engine.closeSession(); }), 0u);
}

TEST_F(Engine, WaitsForAnEventThatIsOne) {
    port.events = {hex("04000000 0400 0240"), container(event, 0x4002, 3, u32s({9})),
                   container(event, 0x4003, 0, Bytes(100))};
    const PtpEvent first = engine.getEvent();
    EXPECT_EQ(first.code, 0x4002);
    EXPECT_EQ(first.id, 3u);
    EXPECT_EQ(first.param1, 9u);
    EXPECT_EQ(engine.getEvent().code, 0);  // too long, then none
    port.events.assign(100, hex("04000000 0400 0240"));
    EXPECT_EQ(engine.getEvent().code, 0);
    EXPECT_GT(port.events.size(), 90u);  // nobody waits for as many
}

TEST(EngineConnection, ThatFailsIsTheFirstOperationsError) {
    ScriptedPort port;
    for (const bool openFails : {true, false}) {
        port.openError = openFails ? PTP_NO_CONNECTION : PTPCommErrors{};
        port.mutexError = openFails ? PTPCommErrors{} : PTP_GENERAL_ERROR;
        ZlPTPdrv engine{wString(u"\\\\.\\Usbscan0")};
        EXPECT_EQ(raisedBy([&] { engine.getDeviceInfo(); }), PTP_NO_CONNECTION);
        EXPECT_EQ(engine.getPortName().view(), u"\\\\.\\Usbscan0");
    }
    port.openError = port.mutexError = {};
    {
        ZlPTPdrv nowhere(1, 2);  // an arbiter that can't tell the port
        EXPECT_EQ(raisedBy([&] { nowhere.closeSession(); }), PTP_NO_CONNECTION);
        ObjectInfoDataset tooLong;
        tooLong.Filename.assign(wString(std::u16string(255, u'x')));
        EXPECT_EQ(raisedBy([&] { nowhere.sendObjectInfo(tooLong, 0, 0); }), PTP_NO_CONNECTION);
    }
    port.calls.clear();
    port.portOfIds = u"somewhere";
    {
        const ZlPTPdrv found(0x5AF1, 0x7C36);
        EXPECT_EQ(found.getPortName().view(), u"somewhere");
    }
    EXPECT_THAT(port.calls, ElementsAre("setPort", "removePort"));
}

}  // namespace
}  // namespace zlk::test
