// The host of a device, and clients that close at the worst moment or don't read.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/socket.h>

#include <cerrno>
#include <memory>
#include <span>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/error.h"
#include "tests/support/TestMachine.h"
#include "tests/usb/SteppedLoop.h"
#include "tests/usbscan/HostClient.h"
#include "usbscan/HostEndpoint.h"
#include "usbscan/host/ClientListener.h"
#include "usbscan/host/DeviceHost.h"
#include "usbscan/usbscan.h"

namespace zlk::usbscan {
namespace {

using namespace std::chrono_literals;
using test::HostClient;
using test::HostMessage;

/// Does nothing by itself; a second request to cancel is one that it doesn't understand.
class QuietDevice final : public UsbDevice {
  public:
    /// A busy one has the first no more than the second, and is ready once it was reset.
    explicit QuietDevice(EventLoop& loop, bool busy = false) : cancels(busy), loop_(loop) {
        facts_.bulkIn = {0x81, 512, 0};
        facts_.bulkOut = {0x02, 512, 0};
        facts_.interruptIn = {0x83, 64, 8};
    }
    const UsbFacts& facts() const override { return facts_; }
    void setListener(Listener* heard) override { listener = heard; }
    void read(std::uint64_t, bool) override {}
    bool stopReading() override { return false; }
    void write(std::span<const std::byte>, bool, Done done) override {
        ++writes;
        if (!takesCommands) return void(write_ = std::move(done));
        loop_.post([done] { done(UsbStatus::Done); });
    }
    void cancelWrite() override {
        if (!write_) return;
        loop_.post([done = std::exchange(write_, nullptr)] { done(UsbStatus::Cancelled); });
    }
    void control(const UsbRequest& request, DoneWithBytes done) override {
        constexpr std::uint8_t cancel = 0x64, reset = 0x66, status = 0x67, descriptor = 0x06;
        if (request.request == cancel) ++cancels;
        if (request.request == reset) busy_ = false;
        if (request.request == status) ++questions;
        const bool refused = request.request == cancel && cancels > 1;
        std::vector<std::byte> answer;
        if (request.request == descriptor) return void(asked = std::move(done));
        if (request.request == status)
            for (const int byte : {4, 0, busy_ ? 0x19 : 0x01, 0x20})
                answer.push_back(std::byte(byte));
        loop_.post([=] { done(refused ? UsbStatus::Stalled : UsbStatus::Done, answer); });
    }
    void waitForInterrupt(DoneWithBytes done) override { interrupt = std::move(done); }
    void cancelInterrupt() override {}
    bool clearHalt(std::uint8_t) override { return true; }
    bool reset() override {
        ++resets;
        return true;
    }

    Listener* listener = nullptr;
    DoneWithBytes interrupt;
    DoneWithBytes asked;  // for a descriptor
    bool takesCommands = true;
    int writes = 0, cancels, resets = 0, questions = 0;

  private:
    EventLoop& loop_;
    Done write_;
    bool busy_ = cancels > 0;
    UsbFacts facts_;
};

struct Question {
    MessageHeader header{sizeof(ControlRequest), MessageKind::Control, 0, 0};
    ControlRequest request{IOCTL_GET_PIPE_CONFIGURATION, 255, 1};
};

HostClient connectTo(DeviceHost& host) {
    int ends[2];
    EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends), 0);
    host.serve(ends[1]);
    return HostClient(Descriptor(ends[0]));
}

/// What a host answers a client that asked for recordings.
std::vector<std::uint32_t> recordingsOf(HostClient& client) {
    client.read();
    std::vector<std::uint32_t> results;
    for (const HostMessage& message : client.heard)
        if (message.header.kind == MessageKind::Recorded) results.push_back(message.number());
    return results;
}

void record(const HostClient& client, const Descriptor& file) {
    const RecordRequest request{};
    client.say(MessageKind::Record, std::as_bytes(std::span(&request, 1)), file.get());
}

Descriptor emptyFile() {
    return Descriptor(::memfd_create("recording", MFD_CLOEXEC | MFD_ALLOW_SEALING));
}

class DeviceHostTest : public testing::Test {
  protected:
    void awaitCommands(int count) {
        ASSERT_TRUE(loop.until([&] { return device->writes == count; }));
    }
    void pass(std::chrono::milliseconds time) {
        const auto end = EventLoop::Clock::now() + time;
        loop.until([&] { return EventLoop::Clock::now() > end; });
    }
    void sends(std::vector<std::uint32_t> words) {
        device->listener->arrived({std::as_bytes(std::span(words)), true, nullptr});
    }

    test::SteppedLoop loop;
    QuietDevice* device = new QuietDevice(loop);
    DeviceHost host{loop, std::unique_ptr<UsbDevice>(device), 0ms, [] {}};
    HostClient client = connectTo(host);
};

TEST_F(DeviceHostTest, givesAnEventOnceToWhoeverIsStillThere) {
    HostClient there = connectTo(host);
    client.say(MessageKind::WaitEvent);
    there.say(MessageKind::WaitEvent);
    loop.settle();
    client.close();
    const std::byte event[12] = {std::byte{12}};
    std::exchange(device->interrupt, nullptr)(UsbStatus::Done, event);
    loop.settle();
    there.read();
    EXPECT_EQ(there.count(MessageKind::Event), 1);
}

// A client that has cancelled its wait skips an Event that is sent to it all the same.
TEST_F(DeviceHostTest, keepsAnEventForTheNextWaitOnceAWaitIsCancelled) {
    client.say(MessageKind::WaitEvent);
    client.say(MessageKind::Cancel);
    loop.settle();
    const std::byte event[12] = {std::byte{12}};
    std::exchange(device->interrupt, nullptr)(UsbStatus::Done, event);
    loop.settle();
    client.read();
    EXPECT_EQ(client.count(MessageKind::Event), 0);
    client.say(MessageKind::WaitEvent);
    loop.settle();
    client.read();
    EXPECT_EQ(client.count(MessageKind::Event), 1);
}

TEST_F(DeviceHostTest, givesNobodyTheAnswerToAClientThatWentMeanwhile) {
    HostClient other = connectTo(host);
    const auto ask = [](const HostClient& asker, std::uint32_t number) {
        const struct {
            ControlRequest request;
            USBSCAN_GET_DESCRIPTOR wanted;
        } question{{IOCTL_GET_USB_DESCRIPTOR, 255, number}, {1, 0, 0}};
        asker.say(MessageKind::Control,
                  std::as_bytes(std::span(&question, 1))
                      .first(sizeof question.request + sizeof question.wanted));
    };
    ask(client, 1);
    loop.settle();
    ask(other, 2);
    client.close();
    loop.settle();
    for (const std::byte number : {std::byte{1}, std::byte{2}}) {
        ASSERT_TRUE(device->asked);
        const std::vector<std::byte> answer(18, number);
        std::exchange(device->asked, nullptr)(UsbStatus::Done, answer);
        loop.settle();
    }
    other.read();
    ASSERT_EQ(other.count(MessageKind::ControlDone), 1);
    const std::vector<std::byte>& answer = other.heard.back().bytes;
    ASSERT_EQ(answer.size(), sizeof(ControlAnswer) + 18);
    EXPECT_EQ(answer[0], std::byte{2}) << "the question's number";
    EXPECT_EQ(answer.back(), std::byte{2}) << "what the device answered to it";
}

/// Another client has sent a command before. What the first one sends is seen before its end.
class DeviceHostOfTwo : public DeviceHostTest {
  protected:
    void SetUp() override {
        other.command(7);
        awaitCommands(1);
    }
    HostClient other = connectTo(host);
};

TEST_F(DeviceHostOfTwo, cancelsOnceForAClientThatDiedAndKeepsTheOthersSession) {
    other.close();
    client.command(8);
    awaitCommands(2);
    client.read();
    EXPECT_EQ(device->cancels, 1);
    EXPECT_EQ(device->resets, 0);
    EXPECT_EQ(client.count(MessageKind::Failed), 0);
}

// Some devices leave the bus when they are asked to cancel what they are busy with.
TEST_F(DeviceHostOfTwo, leavesADeviceInPeaceThatAnswersLate) {
    other.close();
    client.command(8);
    pass(300ms);
    sends({16, 0x10010002, 7, 1});
    pass(300ms);
    EXPECT_EQ(device->writes, 1);
    sends({12, 0x20010003, 7});
    awaitCommands(2);
    EXPECT_EQ(device->cancels, 0);
}

TEST_F(DeviceHostOfTwo, endsNothingThatIsAnsweredWhenItsClientTurnsOutToBeGone) {
    loop.settle();
    client.command(8);
    other.close();
    sends({12, 0x20010003, 7});
    awaitCommands(2);
    EXPECT_EQ(device->cancels, 0);
}

TEST_F(DeviceHostOfTwo, tellsAClientAtOnceThatItsTransactionWasOvertaken) {
    client.command(8);
    awaitCommands(2);
    other.read();
    client.read();
    EXPECT_EQ(other.count(MessageKind::Failed), 1);
    EXPECT_EQ(client.count(MessageKind::Failed), 0);
}

TEST_F(DeviceHostTest, endsNothingThatTheDeviceHasNotTaken) {
    HostClient died = connectTo(host);
    loop.settle();
    pass(200ms);  // for what an earlier host has left
    device->takesCommands = false;
    died.command(7);
    awaitCommands(1);
    died.close();
    client.command(8);
    awaitCommands(2);
    EXPECT_EQ(device->cancels, 0);
}

TEST_F(DeviceHostTest, waitsForTheEndOfWhatAnEarlierHostHasAskedFor) {
    client.command(7);
    ASSERT_TRUE(loop.until([&] { return device->questions == 1; }));
    sends(std::vector<std::uint32_t>(128, 0xFFFFFFFF));  // of a picture
    pass(300ms);
    sends({1, 2, 3});
    pass(300ms);
    EXPECT_EQ(device->writes, 0);
    sends({12, 0x20010003, 99});
    awaitCommands(1);
    EXPECT_EQ(device->cancels, 0);
}

TEST_F(DeviceHostTest, endsATransactionOfNothingButZeroPackets) {
    client.command(7);
    awaitCommands(1);
    for (int i = 0; i < 1000; ++i) device->listener->arrived({{}, true, nullptr});
    client.command(8);
    awaitCommands(2);
    client.read();
    EXPECT_EQ(client.count(MessageKind::Failed), 1);
    EXPECT_LT(client.count(MessageKind::ZeroPacket), 20);
}

TEST_F(DeviceHostTest, listensToAClientThatReadsNoAnswersOnlyOnceItReads) {
    const std::vector<Question> questions(40'000);  // more than a socket holds
    const auto bytes = std::as_bytes(std::span(questions));
    const std::size_t first = client.offer(bytes);
    loop.settle();
    const std::size_t second = client.offer(bytes.subspan(first));
    EXPECT_LT(second, first / 2);
    const auto asked = static_cast<std::ptrdiff_t>((first + second) / sizeof(Question));
    loop.until([&] {
        client.read();
        return client.count(MessageKind::ControlDone) == asked;
    });
    EXPECT_EQ(client.count(MessageKind::ControlDone), asked);
}

TEST_F(DeviceHostTest, recordsForOneClientAtATimeUntilItEndsOrGoes) {
    using testing::ElementsAre;
    HostClient second = connectTo(host);
    const Descriptor file = emptyFile(), nextFile = emptyFile();
    const auto hears = [&](HostClient& asking, std::size_t count) {
        return loop.until([&] { return recordingsOf(asking).size() == count; });
    };
    record(client, file);
    ASSERT_TRUE(hears(client, 1));
    record(second, nextFile);
    ASSERT_TRUE(hears(second, 1));
    client.command(7);
    awaitCommands(1);
    client.say(MessageKind::EndRecord);
    ASSERT_TRUE(hears(client, 2));
    EXPECT_THAT(recordingsOf(client), ElementsAre(ERROR_SUCCESS, ERROR_SUCCESS));
    EXPECT_THAT(recordingsOf(second), ElementsAre(ERROR_BUSY));
    // All of it is there when the client hears of it.
    const off_t size = ::lseek(file.get(), 0, SEEK_CUR);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    ASSERT_EQ(::pread(file.get(), bytes.data(), bytes.size(), 0), size);
    EXPECT_EQ(bytes.substr(0, 4), "\x0a\x0d\x0d\x0a");
    EXPECT_NE(bytes.find("GetDeviceInfo (0x1001), transaction 7"), std::string::npos);

    record(second, nextFile);
    ASSERT_TRUE(hears(second, 2));
    second.close();
    EXPECT_TRUE(loop.until([&] {
        record(client, file);
        const auto results = recordingsOf(client);
        return results.size() > 2 && results.back() == ERROR_SUCCESS;
    }));
    EXPECT_GT(::lseek(nextFile.get(), 0, SEEK_CUR), 0);
}

TEST_F(DeviceHostTest, goesOnWhereARecordingCannot) {
    int pipe[2];
    ASSERT_EQ(::pipe2(pipe, O_CLOEXEC), 0);
    const Descriptor reading(pipe[0]), writing(pipe[1]), full = emptyFile();
    ASSERT_EQ(::fcntl(full.get(), F_ADD_SEALS, F_SEAL_GROW), 0);
    record(client, writing);  // one that nobody may ever read
    record(client, full);
    for (const int number : {1, 2}) {
        client.command(static_cast<std::uint32_t>(number));
        awaitCommands(number);
    }
    client.say(MessageKind::EndRecord);
    EXPECT_TRUE(loop.until([&] { return recordingsOf(client).size() == 3; }));
    EXPECT_THAT(recordingsOf(client),
                testing::ElementsAre(ERROR_INVALID_PARAMETER, ERROR_SUCCESS, ERROR_IO_DEVICE));
}

TEST(DeviceHost, keepsItsFirstClientWhereItHasToResetADeviceAtItsBeginning) {
    test::SteppedLoop loop;
    auto* const device = new QuietDevice(loop, true);
    DeviceHost host(loop, std::unique_ptr<UsbDevice>(device), 0ms, [] {});
    HostClient client = connectTo(host);
    client.command(1);
    EXPECT_TRUE(loop.until([&] { return device->writes == 1; }));
    client.read();
    EXPECT_EQ(client.count(MessageKind::Failed), 0);
}

TEST(DeviceHost, thatMayNotServeRefusesNobodyWhoComesAfterARefusal) {
    const DeviceAddress address(test::newFolder(), "device");
    for (int round = 0; round < 50; ++round) {
        const Descriptor listening = address.listen();
        std::vector<Descriptor> waiting(40);
        for (Descriptor& client : waiting) ASSERT_TRUE(client = address.connect());
        Descriptor late;
        std::thread toldFirst([&] {
            char refusal[64];
            if (::recv(waiting[0].get(), refusal, sizeof refusal, 0) > 0) late = address.connect();
        });
        refuseWaiting(listening.get(), 32);
        toldFirst.join();
        char byte;
        EXPECT_EQ(::recv(waiting.back().get(), &byte, 1, MSG_DONTWAIT), 1);
        ASSERT_TRUE(late);
        ASSERT_EQ(::recv(late.get(), &byte, 1, MSG_DONTWAIT), -1) << round;
        ASSERT_EQ(errno, EAGAIN);
    }
}

TEST_F(DeviceHostTest, sendsOnToAClientWithMuchQueuedOnceItGivesSlotsBack) {
    constexpr std::uint32_t buffers = 9, heads = 400;
    client.command(7);
    awaitCommands(1);
    const auto containers = [](std::uint32_t size, std::uint32_t each) {
        std::vector<std::uint32_t> words(size / 4);
        for (std::size_t i = 0; i < words.size(); i += each / 4) {
            words[i] = each;
            words[i + 1] = 0x10010002;
            words[i + 2] = 7;
        }
        return std::make_shared<std::vector<std::uint32_t>>(std::move(words));
    };
    const auto large = containers(buffers * areaSlotSize, buffers * areaSlotSize);
    const auto small = containers(heads * 12, 12);
    const auto bytes = std::as_bytes(std::span(*large));
    for (std::uint32_t i = 0; i < buffers; ++i)
        device->listener->arrived({bytes.subspan(i * areaSlotSize, areaSlotSize), false, large});
    device->listener->arrived({std::as_bytes(std::span(*small)), true, small});
    EXPECT_TRUE(loop.until([&] {
        client.read();
        return client.data == buffers * areaSlotSize + heads * 12;
    })) << client.data;
}

}  // namespace
}  // namespace zlk::usbscan
