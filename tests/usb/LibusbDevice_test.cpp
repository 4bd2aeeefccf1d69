// What a host sees of a device through the real libusb, below which stands an emulated usbfs.

#include "usbscan/program/LibusbDevice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/ChildProcess.h"
#include "tests/usb/ScriptedFunction.h"
#include "tests/usb/SteppedLoop.h"
#include "tools/emulated_usb/EmulatedUsb.h"
#include "usbscan/Protocol.h"

namespace zlk::test {
namespace {

using camsim::PipeAnswer;
using usbscan::EventLoop;
using usbscan::LibusbDevice;
using usbscan::LibusbError;
using usbscan::UsbAddress;
using usbscan::UsbPiece;
using usbscan::UsbStatus;
using Transfer = ScriptedFunction::Transfer;

constexpr std::uint64_t everything = std::uint64_t{1} << 40;

/// What a host gets, joined to transfers.
class Inbox final : public usbscan::UsbDevice::Listener {
  public:
    void arrived(UsbPiece piece) override {
        if (transfers.empty() || transfers.back().ended) transfers.push_back({{}, false});
        Transfer& last = transfers.back();
        last.bytes.insert(last.bytes.end(), piece.bytes.begin(), piece.bytes.end());
        last.ended = piece.endsTransfer;
        bytes += piece.bytes.size();
        if (holds) held.push_back(std::move(piece));
    }
    void readingStopped(UsbStatus why) override { stopped.push_back(why); }

    std::vector<Transfer> transfers;
    std::size_t bytes = 0;
    std::vector<UsbStatus> stopped;
    bool holds = false;
    std::vector<UsbPiece> held;
};

/// The error with which it can't be opened; 0 if it can.
int errorOfOpening(EventLoop& loop, UsbAddress address = {1, 2}) {
    try {
        LibusbDevice(loop, address, [] {});
        return 0;
    } catch (const LibusbError& error) {
        return error.code();
    }
}

/// An open device on an emulated bus.
struct Bench {
    explicit Bench(std::uint16_t packetSize = 512, const emulated::UsbfsFeatures& features = {})
        : function(packetSize), usb(loop, function, features) {
        open();
    }
    void open() {
        device = std::make_unique<LibusbDevice>(
            loop, UsbAddress{1, static_cast<std::uint8_t>(usb.deviceNumber())},
            [this] { unplugged = true; });
        device->setListener(&inbox);
    }
    UsbStatus write(const Bytes& bytes, bool zeroPacket = true) {
        std::optional<UsbStatus> result;
        device->write(bytes, zeroPacket, [&](UsbStatus status) { result = status; });
        EXPECT_FALSE(result) << "reported from inside of the call";
        loop.until([&] { return result.has_value(); });
        return result.value_or(UsbStatus::TimedOut);
    }
    /// Whether so many whole transfers come.
    bool comes(std::size_t transfers) {
        return loop.until(
            [&] { return inbox.transfers.size() == transfers && inbox.transfers.back().ended; });
    }
    bool stops() {
        return loop.until([&] { return !inbox.stopped.empty(); });
    }

    SteppedLoop loop;
    ScriptedFunction function;
    emulated::EmulatedUsb usb;
    Inbox inbox;
    bool unplugged = false;
    std::unique_ptr<LibusbDevice> device;
};

class LibusbDeviceTest : public testing::Test, protected Bench {
  protected:
    /// All pipes wait for the device, which holds back.
    void startEverything() {
        function.answer(ScriptedFunction::bulkOut, PipeAnswer::NotNow);
        device->read(everything, false);
        device->write(heldBack, true, [&](UsbStatus status) { ends.push_back(status); });
        device->waitForInterrupt([&](UsbStatus status, auto) { ends.push_back(status); });
        loop.settle();
        EXPECT_THAT(ends, testing::IsEmpty());
    }
    const Bytes heldBack = pattern(1 << 20, 1);
    std::vector<UsbStatus> ends;  ///< of the write, and of the wait for an interrupt
};

class OnKernels : public testing::TestWithParam<std::tuple<std::uint16_t, std::uint32_t>>,
                  protected Bench {
  protected:
    OnKernels() : Bench(std::get<0>(GetParam()), {.capabilities = std::get<1>(GetParam())}) {}

    const std::uint16_t packet = std::get<0>(GetParam());

    /// Around the edges of packets and of our own buffers.
    std::vector<std::size_t> sizes() const {
        const std::size_t p = packet, buffer = usbscan::areaSlotSize;
        return {0,          1,      p - 1,      p,          p + 1,      2 * p,     buffer - p,
                buffer - 1, buffer, buffer + 1, buffer + p, 2 * buffer, 3'000'007, 3 << 20};
    }
};

TEST_P(OnKernels, TransfersAreReadByteForByteAndEndWhereTheyDo) {
    std::vector<Transfer> sent;
    for (const std::size_t size : sizes())
        sent.push_back({pattern(size, static_cast<unsigned>(size)), true});
    for (const Transfer& transfer : sent) function.send(transfer);
    device->read(everything, false);
    device->read(everything, false);
    EXPECT_TRUE(inbox.transfers.empty()) << "reported from inside of the call";
    EXPECT_TRUE(comes(sent.size()));
    EXPECT_TRUE(inbox.transfers == sent);
    EXPECT_THAT(inbox.stopped, testing::IsEmpty());
}

TEST_P(OnKernels, WritesArriveByteForByteWithTheirEmptyPacketsAndNoOthers) {
    for (const std::size_t size : sizes()) {
        for (const bool zeroPacket : {true, false}) {
            const Bytes bytes = pattern(size, static_cast<unsigned>(size));
            ASSERT_EQ(write(bytes, zeroPacket), UsbStatus::Done) << size;
            const bool ends = zeroPacket || size == 0 || size % packet != 0;
            ASSERT_EQ(function.received.size(), 1u) << size;
            ASSERT_TRUE((function.received.front() == Transfer{bytes, ends})) << size;
            function.received.clear();
        }
    }
}

TEST_P(OnKernels, AStallIsReportedBehindWhatCameBeforeItAndCanBeCleared) {
    const Transfer part{pattern(3 * usbscan::areaSlotSize + 2 * packet, 1), false},
        next{pattern(5, 2), true};
    function.send(part);
    function.answer(ScriptedFunction::bulkIn, PipeAnswer::Stalled);
    function.answer(ScriptedFunction::bulkOut, PipeAnswer::Stalled);
    device->read(everything, false);
    ASSERT_TRUE(stops());
    EXPECT_THAT(inbox.stopped, testing::ElementsAre(UsbStatus::Stalled));
    EXPECT_TRUE((inbox.transfers == std::vector{part}));
    EXPECT_EQ(write(pattern(100, 3)), UsbStatus::Stalled);

    EXPECT_TRUE(device->clearHalt(ScriptedFunction::bulkIn));
    EXPECT_TRUE(device->clearHalt(ScriptedFunction::bulkOut));
    inbox.transfers.clear();
    function.send(next);
    device->read(everything, false);
    ASSERT_TRUE(comes(1));
    EXPECT_TRUE((inbox.transfers == std::vector{next}));
    EXPECT_EQ(write(pattern(100, 3)), UsbStatus::Done);
    EXPECT_EQ(inbox.stopped.size(), 1u);
}

TEST_P(OnKernels, ReadingThatWasStoppedGoesOnWithoutALoss) {
    function.send({pattern(2 * packet, 1), false});
    device->read(everything, false);
    ASSERT_TRUE(loop.until([&] { return function.given == 2u * packet; }));
    device->stopReading();
    device->read(2 * packet + 1000, true);
    function.send({pattern(1000, 2), true});
    ASSERT_TRUE(comes(1));
    Bytes all = pattern(2 * packet, 1);
    const Bytes rest = pattern(1000, 2);
    all.insert(all.end(), rest.begin(), rest.end());
    EXPECT_TRUE((inbox.transfers == std::vector{Transfer{all, true}}));

    device->stopReading();
    loop.settle();
    function.send({pattern(10, 3), true});
    loop.settle();
    EXPECT_EQ(function.given, 2u * packet + 1000);
    EXPECT_THAT(inbox.stopped, testing::IsEmpty());
}

TEST_P(OnKernels, TellsTheFactsOfTheDevice) {
    const auto& facts = device->facts();
    EXPECT_THAT(facts.deviceDescriptor, testing::ElementsAreArray(function.deviceDescriptor()));
    EXPECT_EQ(facts.bulkIn.address, ScriptedFunction::bulkIn);
    EXPECT_EQ(facts.bulkIn.maximumPacketSize, packet);
    EXPECT_EQ(facts.bulkOut.address, ScriptedFunction::bulkOut);
    EXPECT_EQ(facts.interruptIn.address, ScriptedFunction::interruptIn);
    EXPECT_EQ(facts.interruptIn.interval, 8);
}

INSTANTIATE_TEST_SUITE_P(LibusbDevice, OnKernels,
                         testing::Combine(testing::Values<std::uint16_t>(64, 512),
                                          testing::Values<std::uint32_t>(0x1f, 0x02)));

TEST_F(LibusbDeviceTest, AnInterruptComesWhileBulkTransfersRun) {
    inbox.holds = true;
    function.send({pattern(4 << 20, 1), true});
    device->read(everything, false);
    Bytes event;
    device->waitForInterrupt([&](UsbStatus status, std::span<const std::byte> bytes) {
        EXPECT_EQ(status, UsbStatus::Done);
        event.assign(bytes.begin(), bytes.end());
    });
    ASSERT_TRUE(loop.until([&] { return inbox.bytes > 0; }));
    EXPECT_TRUE(event.empty());
    function.sendEvent(pattern(24, 7));
    ASSERT_TRUE(loop.until([&] { return !event.empty(); }));
    EXPECT_EQ(event, pattern(24, 7));
    EXPECT_LT(inbox.bytes, 4u << 20);
}

TEST_F(LibusbDeviceTest, ReadsNoFurtherThanItsPiecesAreGivenBack) {
    inbox.holds = true;
    const Transfer transfer{pattern(3 << 20, 1), true};
    function.send(transfer);
    device->read(everything, false);
    ASSERT_TRUE(loop.until([&] { return inbox.held.size() == usbscan::areaSlots; }));
    loop.settle();
    EXPECT_EQ(function.given, 4u * usbscan::areaSlotSize);

    inbox.held.erase(inbox.held.begin() + 1, inbox.held.end());
    ASSERT_TRUE(loop.until([&] { return inbox.held.size() == usbscan::areaSlots; }));
    loop.settle();
    EXPECT_EQ(function.given, 7u * usbscan::areaSlotSize);

    inbox.holds = false;
    const UsbPiece last = inbox.held.back();
    const Bytes kept(last.bytes.begin(), last.bytes.end());
    inbox.held.clear();
    ASSERT_TRUE(comes(1));
    EXPECT_TRUE((inbox.transfers == std::vector{transfer}));
    device.reset();
    EXPECT_TRUE(std::ranges::equal(last.bytes, kept)) << "a piece outlives its device";
}

TEST_F(LibusbDeviceTest, AsksForOneTransferBesidesWhatIsDueAndNoMore) {
    const Transfer data{pattern(700, 1), true}, response{pattern(12, 2), true},
        next{pattern(20, 3), true};
    for (const Transfer& transfer : {data, response, next}) function.send(transfer);
    device->read(1024, true);
    device->read(1024, true);
    ASSERT_TRUE(loop.until([&] { return inbox.bytes >= 712; }));
    loop.settle();
    EXPECT_TRUE((inbox.transfers == std::vector{data, response}));
    EXPECT_FALSE(device->stopReading());

    // The one besides is what was due next.
    function.send(response);
    device->read(512, true);
    device->read(512, false);
    ASSERT_TRUE(loop.until([&] { return inbox.bytes >= 744; }));
    loop.settle();
    EXPECT_EQ(inbox.transfers.size(), 4u);
    EXPECT_FALSE(device->stopReading());
    device->read(512, true);
    EXPECT_TRUE(device->stopReading());
}

TEST(LibusbDevice, MakesDoWithTheMemoryThatTheKernelHas) {
    for (const std::size_t memory : {300'000, 128 * 1024, 40'000}) {
        Bench bench(512, {.memory = memory});
        const Transfer transfer{pattern(1'000'000, 1), true};
        bench.function.send(transfer);
        bench.device->read(everything, false);
        ASSERT_TRUE(bench.comes(1)) << memory;
        EXPECT_TRUE((bench.inbox.transfers == std::vector{transfer})) << memory;
        EXPECT_THAT(bench.inbox.stopped, testing::IsEmpty()) << memory;
    }
    Bench bench(512, {.memory = 100});
    bench.device->read(everything, false);
    EXPECT_TRUE(bench.inbox.stopped.empty()) << "reported from inside of the call";
    ASSERT_TRUE(bench.stops());
    EXPECT_EQ(bench.inbox.stopped.front(), UsbStatus::Failed);
}

TEST_F(LibusbDeviceTest, CancelsWhatTheDeviceHoldsBack) {
    startEverything();
    device->cancelWrite();
    device->cancelInterrupt();
    ASSERT_TRUE(loop.until([&] { return ends.size() == 2; }));
    EXPECT_THAT(ends, testing::Each(UsbStatus::Cancelled));
    EXPECT_THAT(function.received, testing::IsEmpty());
    function.answer(ScriptedFunction::bulkOut, PipeAnswer::Accepted);
    EXPECT_EQ(write(pattern(10, 2)), UsbStatus::Done);
}

TEST_F(LibusbDeviceTest, AResetEndsWhatIsUnderWayAndLeavesTheDeviceUsable) {
    startEverything();
    const int resets = function.resets;
    EXPECT_TRUE(device->reset());
    EXPECT_THAT(ends, testing::IsEmpty()) << "reported from inside of the call";
    ASSERT_TRUE(loop.until([&] { return ends.size() == 2 && function.resets > resets; }));
    EXPECT_THAT(ends, testing::Each(UsbStatus::Cancelled));
    EXPECT_THAT(inbox.transfers, testing::IsEmpty()) << "a packet that nobody sent";

    function.send({pattern(9, 1), true});
    device->read(everything, false);
    ASSERT_TRUE(comes(1));
    EXPECT_EQ(write(pattern(10, 2)), UsbStatus::Done);
}

TEST_F(LibusbDeviceTest, NothingIsReportedBehindItsEnd) {
    startEverything();
    // What ends here is due to be reported when the device is gone.
    EXPECT_TRUE(device->reset());
    device->read(everything, false);
    device.reset();
    function.send({heldBack, true});
    loop.settle();
    EXPECT_THAT(ends, testing::IsEmpty());
    EXPECT_EQ(function.given, 0u);
    EXPECT_EQ(errorOfOpening(loop), 0);
}

TEST_F(LibusbDeviceTest, AnErrorOnTheWireFailsTheTransferAndNotTheDevice) {
    for (const auto pipe : {ScriptedFunction::bulkIn, ScriptedFunction::bulkOut})
        function.answer(pipe, PipeAnswer::Broken);
    device->read(everything, false);
    ASSERT_TRUE(stops());
    EXPECT_THAT(inbox.stopped, testing::ElementsAre(UsbStatus::Failed));
    EXPECT_EQ(write(pattern(10, 2)), UsbStatus::Failed);
    EXPECT_FALSE(unplugged);
}

TEST_F(LibusbDeviceTest, ControlRequestsGoBothWaysAndStall) {
    const auto request = [&](const usbscan::UsbRequest& asked) {
        std::optional<UsbStatus> result;
        Bytes came;
        device->control(asked, [&](UsbStatus status, std::span<const std::byte> bytes) {
            result = status;
            came.assign(bytes.begin(), bytes.end());
        });
        loop.until([&] { return result.has_value(); });
        return std::pair(result.value_or(UsbStatus::TimedOut), came);
    };
    const Bytes out = pattern(6, 1);
    EXPECT_EQ(request({0x21, 0x64, 0x0102, 0x0304, out, 0}).first, UsbStatus::Done);
    EXPECT_EQ(function.requestData, out);
    const camsim::SetupPacket setup = function.requests.back();
    EXPECT_EQ(setup.requestType, 0x21);
    EXPECT_EQ(setup.request, 0x64);
    EXPECT_EQ(setup.value, 0x0102);
    EXPECT_EQ(setup.index, 0x0304);
    EXPECT_EQ(setup.length, 6);

    function.requestAnswer = pattern(12, 2);
    EXPECT_EQ(request({0xA1, 0x67, 0, 0, {}, 20}), std::pair(UsbStatus::Done, pattern(12, 2)));
    EXPECT_EQ(request({0xA1, 0xFF, 0, 0, {}, 20}), std::pair(UsbStatus::Stalled, Bytes()));
}

TEST_F(LibusbDeviceTest, UnpluggingEndsEverythingAndTheNextDeviceIsAnotherOne) {
    startEverything();
    usb.unplug();
    ASSERT_TRUE(
        loop.until([&] { return unplugged && ends.size() == 2 && !inbox.stopped.empty(); }));
    EXPECT_THAT(ends, testing::Each(UsbStatus::Gone));
    EXPECT_THAT(inbox.stopped, testing::ElementsAre(UsbStatus::Gone));
    EXPECT_EQ(write(heldBack), UsbStatus::Gone);
    EXPECT_FALSE(device->reset());
    EXPECT_EQ(errorOfOpening(loop), LIBUSB_ERROR_NO_DEVICE);

    usb.plug();
    open();
    EXPECT_EQ(write(heldBack), UsbStatus::Done);
}

ZLK_CHILD(claims_the_device) {
    EventLoop loop;
    const LibusbDevice device(loop, {1, 2}, [] {});
    child.say("claimed");
    child.hear();
    return 0;
}

TEST_F(LibusbDeviceTest, IsRefusedWhileAnotherProcessHoldsTheDevice) {
    device.reset();
    {
        ChildProcess holder("claims_the_device");
        ASSERT_EQ(holder.hear(), "claimed");
        EXPECT_EQ(errorOfOpening(loop), LIBUSB_ERROR_BUSY);
        holder.kill();
    }
    EXPECT_TRUE(loop.until([&] { return errorOfOpening(loop) == 0; }));
}

TEST(LibusbDevice, OpensStillImageDevicesOnly) {
    SteppedLoop loop;
    ScriptedFunction function(512);
    function.interfaceClass = 8;
    const emulated::EmulatedUsb usb(loop, function);
    EXPECT_EQ(errorOfOpening(loop), LIBUSB_ERROR_NOT_FOUND);
    EXPECT_EQ(errorOfOpening(loop, {1, 77}), LIBUSB_ERROR_NO_DEVICE);
}

TEST(UsbAddress, IsReadFromTheNodesPathAndNothingElse) {
    const auto address = UsbAddress::ofNode("/dev/bus/usb/012/255");
    ASSERT_TRUE(address);
    EXPECT_EQ(address->bus, 12);
    EXPECT_EQ(address->device, 255);
    for (const char* wrong :
         {"", "/dev/bus/usb/001", "/dev/bus/usb/001/256", "/dev/bus/usb/000/002",
          "/dev/bus/usb/1/2", "/dev/bus/usb/001/002/", "/dev/bus/usb/+01/002",
          "/dev/bus/usb/001x002", "/tmp/bus/usb/001/002"})
        EXPECT_FALSE(UsbAddress::ofNode(wrong)) << wrong;
}

}  // namespace
}  // namespace zlk::test
