// The host of a device, and clients that close at the worst moment or don't read.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <span>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/descriptor.h"
#include "platform/error.h"
#include "tests/support/TestMachine.h"
#include "tests/usb/SteppedLoop.h"
#include "usbscan/HostEndpoint.h"
#include "usbscan/Protocol.h"
#include "usbscan/host/ClientListener.h"
#include "usbscan/host/DeviceHost.h"
#include "usbscan/usbscan.h"

namespace zlk::usbscan {
namespace {

using namespace std::chrono_literals;

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
        constexpr std::uint8_t cancel = 0x64, reset = 0x66, status = 0x67;
        if (request.request == cancel) ++cancels;
        if (request.request == reset) busy_ = false;
        const bool refused = request.request == cancel && cancels > 1;
        std::vector<std::byte> answer;
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
    bool takesCommands = true;
    int writes = 0, cancels, resets = 0;

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

class Client {
  public:
    explicit Client(DeviceHost& host) {
        int ends[2];
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends), 0);
        socket_ = Descriptor(ends[0]);
        host.serve(ends[1]);
        const OpenRequest request{protocolVersion, 20000, 5000};
        say(MessageKind::Open, &request, sizeof request);
    }
    void say(MessageKind kind, const void* bytes = nullptr, std::uint32_t size = 0) const {
        const MessageHeader header{size, kind, 0, 1};
        ASSERT_EQ(::send(socket_.get(), &header, sizeof header, 0), ssize_t{sizeof header});
        ASSERT_EQ(::send(socket_.get(), bytes, size, 0), ssize_t{size});
    }
    /// Asks for a recording into this file.
    void record(int file) const {
        struct {
            MessageHeader header{sizeof(RecordRequest), MessageKind::Record, 0, 1};
            RecordRequest request{};
        } message;
        iovec part{&message, sizeof message};
        alignas(cmsghdr) char control[CMSG_SPACE(sizeof file)] = {};
        msghdr sent{};
        sent.msg_iov = &part;
        sent.msg_iovlen = 1;
        sent.msg_control = control;
        sent.msg_controllen = sizeof control;
        cmsghdr* const header = CMSG_FIRSTHDR(&sent);
        *header = {CMSG_LEN(sizeof file), SOL_SOCKET, SCM_RIGHTS};
        std::memcpy(CMSG_DATA(header), &file, sizeof file);
        ASSERT_EQ(::sendmsg(socket_.get(), &sent, 0), ssize_t{sizeof message});
    }
    void command(std::uint32_t transaction) const {
        const std::uint32_t container[] = {12, 0x10010001, transaction};
        say(MessageKind::Write, container, sizeof container);
    }
    /// How many bytes of it the socket takes.
    std::size_t offer(std::span<const std::byte> bytes) const {
        return static_cast<std::size_t>(
            std::max<ssize_t>(0, ::send(socket_.get(), bytes.data(), bytes.size(), 0)));
    }
    void close() { socket_ = Descriptor(); }
    /// Takes what has come, and gives the slots of the shared memory back.
    void read() {
        char some[4096];
        for (ssize_t size; (size = ::recv(socket_.get(), some, sizeof some, 0)) > 0;)
            input_.append(some, static_cast<std::size_t>(size));
        for (MessageHeader header; input_.size() >= sizeof header;) {
            std::memcpy(&header, input_.data(), sizeof header);
            const std::size_t end = sizeof header + header.length;
            if (input_.size() < end) return;
            AreaPiece piece{};
            if (header.kind == MessageKind::DataInArea)
                std::memcpy(&piece, input_.data() + sizeof header, sizeof piece);
            if (header.kind == MessageKind::Recorded) {
                std::memcpy(&recorded.emplace_back(), input_.data() + sizeof header,
                            sizeof(std::uint32_t));
            }
            if (header.kind == MessageKind::Event) ++events;
            if (header.kind == MessageKind::Failed) ++failures;
            if (header.kind == MessageKind::ControlDone) ++answers;
            if (header.kind == MessageKind::ZeroPacket) ++zeroPackets;
            if (header.kind == MessageKind::Data) data += header.length;
            data += piece.length;
            input_.erase(0, end);
            if (header.kind == MessageKind::DataInArea)
                say(MessageKind::SlotFree, &piece.slot, sizeof piece.slot);
        }
    }

    std::size_t answers = 0;
    int events = 0, failures = 0, zeroPackets = 0;
    std::size_t data = 0;
    std::vector<std::uint32_t> recorded;  // the answers to what it asked of a recording

  private:
    Descriptor socket_;
    std::string input_;
};

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
};

TEST_F(DeviceHostTest, givesAnEventOnceToWhoeverIsStillThere) {
    Client gone(host), there(host);
    gone.say(MessageKind::WaitEvent);
    there.say(MessageKind::WaitEvent);
    loop.settle();
    gone.close();
    const std::byte event[12] = {std::byte{12}};
    std::exchange(device->interrupt, nullptr)(UsbStatus::Done, event);
    loop.settle();
    there.read();
    EXPECT_EQ(there.events, 1);
}

TEST_F(DeviceHostTest, cancelsOnceForAClientThatDiedAndKeepsTheOthersSession) {
    Client next(host), died(host);  // the next one's command is seen before the other's end
    died.command(7);
    awaitCommands(1);
    died.close();
    next.command(8);
    awaitCommands(2);
    next.read();
    EXPECT_EQ(device->cancels, 1);
    EXPECT_EQ(device->resets, 0);
    EXPECT_EQ(next.failures, 0);
}

// Some devices leave the bus when they are asked to cancel what they are busy with.
TEST_F(DeviceHostTest, leavesADeviceInPeaceThatAnswersLate) {
    Client next(host), died(host);
    died.command(7);
    awaitCommands(1);
    died.close();
    next.command(8);
    pass(300ms);
    sends({16, 0x10010002, 7, 1});
    pass(300ms);
    EXPECT_EQ(device->writes, 1);
    sends({12, 0x20010003, 7});
    awaitCommands(2);
    EXPECT_EQ(device->cancels, 0);
}

TEST_F(DeviceHostTest, endsNothingThatIsAnsweredWhenItsClientTurnsOutToBeGone) {
    Client next(host), died(host);
    died.command(7);
    awaitCommands(1);
    loop.settle();
    next.command(8);
    died.close();
    sends({12, 0x20010003, 7});
    awaitCommands(2);
    EXPECT_EQ(device->cancels, 0);
}

TEST_F(DeviceHostTest, endsNothingThatTheDeviceHasNotTaken) {
    Client next(host), died(host);
    loop.settle();
    pass(200ms);  // for what an earlier host has left
    device->takesCommands = false;
    died.command(7);
    awaitCommands(1);
    died.close();
    next.command(8);
    awaitCommands(2);
    EXPECT_EQ(device->cancels, 0);
}

TEST_F(DeviceHostTest, waitsForTheEndOfWhatAnEarlierHostHasAskedFor) {
    Client client(host);
    client.command(7);
    loop.settle();
    sends(std::vector<std::uint32_t>(128, 0xFFFFFFFF));  // of a picture
    pass(300ms);
    sends({1, 2, 3});
    pass(300ms);
    EXPECT_EQ(device->writes, 0);
    sends({12, 0x20010003, 99});
    awaitCommands(1);
    EXPECT_EQ(device->cancels, 0);
}

TEST_F(DeviceHostTest, tellsAClientAtOnceThatItsTransactionWasOvertaken) {
    Client slow(host), next(host);
    slow.command(7);
    awaitCommands(1);
    next.command(8);
    awaitCommands(2);
    slow.read();
    next.read();
    EXPECT_EQ(slow.failures, 1);
    EXPECT_EQ(next.failures, 0);
}

TEST_F(DeviceHostTest, endsATransactionOfNothingButZeroPackets) {
    Client client(host);
    client.command(7);
    awaitCommands(1);
    for (int i = 0; i < 1000; ++i) device->listener->arrived({{}, true, nullptr});
    client.command(8);
    awaitCommands(2);
    client.read();
    EXPECT_EQ(client.failures, 1);
    EXPECT_LT(client.zeroPackets, 20);
}

TEST_F(DeviceHostTest, listensToAClientThatReadsNoAnswersOnlyOnceItReads) {
    Client client(host);
    const std::vector<Question> questions(40'000);  // more than a socket holds
    const auto bytes = std::as_bytes(std::span(questions));
    const std::size_t first = client.offer(bytes);
    loop.settle();
    const std::size_t second = client.offer(bytes.subspan(first));
    EXPECT_LT(second, first / 2);
    const std::size_t asked = (first + second) / sizeof(Question);
    EXPECT_TRUE(loop.until([&] {
        client.read();
        return client.answers == asked;
    })) << client.answers
        << " of " << asked;
}

TEST_F(DeviceHostTest, recordsForOneClientAtATimeUntilItEndsOrGoes) {
    Client first(host), second(host);
    const Descriptor file(::memfd_create("recording", MFD_CLOEXEC)),
        nextFile(::memfd_create("recording", MFD_CLOEXEC));
    const auto answers = [&](Client& client, std::size_t count) {
        return loop.until([&] {
            client.read();
            return client.recorded.size() == count;
        });
    };
    first.record(file.get());
    ASSERT_TRUE(answers(first, 1));
    second.record(nextFile.get());
    ASSERT_TRUE(answers(second, 1));
    first.command(7);
    awaitCommands(1);
    first.say(MessageKind::EndRecord);
    ASSERT_TRUE(answers(first, 2));
    EXPECT_EQ(first.recorded, (std::vector<std::uint32_t>{ERROR_SUCCESS, ERROR_SUCCESS}));
    EXPECT_EQ(second.recorded, (std::vector<std::uint32_t>{ERROR_BUSY}));
    // All of it is there when the client hears of it.
    const off_t size = ::lseek(file.get(), 0, SEEK_CUR);
    std::string bytes(static_cast<std::size_t>(size), '\0');
    ASSERT_EQ(::pread(file.get(), bytes.data(), bytes.size(), 0), size);
    EXPECT_EQ(bytes.substr(0, 4), "\x0a\x0d\x0d\x0a");
    EXPECT_NE(bytes.find("GetDeviceInfo (0x1001), transaction 7"), std::string::npos);

    second.record(nextFile.get());
    ASSERT_TRUE(answers(second, 2));
    second.close();
    EXPECT_TRUE(loop.until([&] {
        first.record(file.get());
        first.read();
        return first.recorded.back() == ERROR_SUCCESS && first.recorded.size() > 2;
    }));
    EXPECT_EQ(::lseek(nextFile.get(), 0, SEEK_CUR) > 0, true);
}

TEST_F(DeviceHostTest, goesOnWhereARecordingCannot) {
    Client client(host);
    int pipe[2];
    ASSERT_EQ(::pipe2(pipe, O_CLOEXEC), 0);
    const Descriptor reading(pipe[0]), writing(pipe[1]);
    const Descriptor full(::memfd_create("full", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    ASSERT_EQ(::fcntl(full.get(), F_ADD_SEALS, F_SEAL_GROW), 0);
    client.record(writing.get());  // one that nobody may ever read
    client.record(full.get());
    for (const int number : {1, 2}) {
        client.command(static_cast<std::uint32_t>(number));
        awaitCommands(number);
    }
    client.say(MessageKind::EndRecord);
    EXPECT_TRUE(loop.until([&] {
        client.read();
        return client.recorded.size() == 3;
    }));
    EXPECT_EQ(client.recorded, (std::vector<std::uint32_t>{ERROR_INVALID_PARAMETER, ERROR_SUCCESS,
                                                           ERROR_IO_DEVICE}));
}

TEST(DeviceHost, keepsItsFirstClientWhereItHasToResetADeviceAtItsBeginning) {
    test::SteppedLoop loop;
    auto* const device = new QuietDevice(loop, true);
    DeviceHost host(loop, std::unique_ptr<UsbDevice>(device), 0ms, [] {});
    Client client(host);
    client.command(1);
    EXPECT_TRUE(loop.until([&] { return device->writes == 1; }));
    client.read();
    EXPECT_EQ(client.failures, 0);
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
    Client client(host);
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
