// The program that owns a camera on USB, as its clients start and meet it.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <optional>
#include <thread>

#include "tests/support/ChildProcess.h"
#include "tests/support/TestMachine.h"
#include "tests/usb/ScriptedFunction.h"
#include "tests/usb/SteppedLoop.h"
#include "tools/emulated_usb/EmulatedUsb.h"
#include "usbscan/Protocol.h"
#include "usbscan/program/Confinement.h"
#include "usbscan/program/LibusbDevice.h"

namespace zlk::test {
namespace {

using namespace zlk::usbscan;

struct Message {
    MessageHeader header{};
    Bytes bytes;
};

std::uint32_t numberIn(const Message& message) {
    std::uint32_t number = 0;
    if (message.bytes.size() == sizeof number)
        std::memcpy(&number, message.bytes.data(), sizeof number);
    return number;
}

/// The running program, and the socket on which it listens.
class Program {
  public:
    enum class Socket { Listens, Idle };

    explicit Program(Socket socket = Socket::Listens) {
        socket_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        address_.sun_family = AF_UNIX;
        const std::string path = newFolder() / "socket";
        path.copy(address_.sun_path, sizeof address_.sun_path - 1);
        EXPECT_EQ(::bind(socket_, reinterpret_cast<sockaddr*>(&address_), sizeof address_), 0);
        if (socket == Socket::Listens) ::listen(socket_, 8);
    }
    explicit Program(const std::string& node, Socket socket = Socket::Listens) : Program(socket) {
        start(node);
    }
    ~Program() {
        ::close(socket_);
        if (pid_ < 0 || status_) return;
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    void start(const std::string& node) {
        const int lock = ::open("/dev/null", O_RDWR | O_CLOEXEC);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        // Above the numbers that they get, so that neither overwrites the other.
        const int high[] = {::fcntl(socket_, F_DUPFD_CLOEXEC, 50),
                            ::fcntl(lock, F_DUPFD_CLOEXEC, 50)};
        for (int i = 0; i < 2; ++i) posix_spawn_file_actions_adddup2(&actions, high[i], 3 + i);
        const std::string program = moduleFolder() / "zlk-usbscan";
        const std::string bus = std::string("UMOCKDEV_DIR=") + ::getenv("UMOCKDEV_DIR");
        char* const arguments[] = {const_cast<char*>(program.c_str()),
                                   const_cast<char*>(node.c_str()), nullptr};
        char* const environment[] = {const_cast<char*>(bus.c_str()),
                                     const_cast<char*>("LD_PRELOAD=libumockdev-preload.so.0"),
                                     const_cast<char*>("ASAN_OPTIONS=verify_asan_link_order=0"),
                                     nullptr};
        EXPECT_EQ(::posix_spawn(&pid_, program.c_str(), &actions, nullptr, arguments, environment),
                  0);
        posix_spawn_file_actions_destroy(&actions);
        for (const int fd : {high[0], high[1], lock}) ::close(fd);
    }

    pid_t pid() const { return pid_; }
    const sockaddr_un& address() const { return address_; }
    /// Whether it has ended, with which wait status.
    std::optional<int> ended() {
        int status = 0;
        if (!status_ && ::waitpid(pid_, &status, WNOHANG) == pid_) status_ = status;
        return status_;
    }

  private:
    int socket_ = -1;
    sockaddr_un address_{};
    pid_t pid_ = -1;
    std::optional<int> status_;
};

class Client {
  public:
    Client(SteppedLoop& loop, const Program& program)
        : loop_(loop), socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        EXPECT_EQ(::connect(socket_, reinterpret_cast<const sockaddr*>(&program.address()),
                            sizeof program.address()),
                  0);
        const OpenRequest request{protocolVersion, 20000, 5000};
        send(MessageKind::Open, std::as_bytes(std::span(&request, 1)));
    }
    ~Client() { ::close(socket_); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    void send(MessageKind kind, std::span<const std::byte> bytes, std::uint16_t turn = 0) {
        const MessageHeader header{static_cast<std::uint32_t>(bytes.size()), kind, 0, turn};
        ::send(socket_, &header, sizeof header, MSG_NOSIGNAL);
        ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }
    /// The next message but for notes; one of no kind at the end.
    Message receive() {
        Message message;
        do {
            const Bytes head = take(sizeof message.header);
            if (head.empty()) return {};
            std::memcpy(&message.header, head.data(), head.size());
            if (message.header.length) message.bytes = take(message.header.length);
        } while (message.header.kind == MessageKind::Note);
        return message;
    }

  private:
    Bytes take(std::size_t size) {
        Bytes bytes(size);
        ssize_t came = -1;
        const bool complete = loop_.until([&] {
            came = ::recv(socket_, bytes.data(), size, MSG_DONTWAIT | MSG_PEEK);
            return came == static_cast<ssize_t>(size) || came == 0;
        });
        if (!complete || came == 0) return {};
        ::recv(socket_, bytes.data(), size, 0);
        return bytes;
    }

    SteppedLoop& loop_;
    int socket_;
};

class UsbScan : public testing::Test {
  protected:
    SteppedLoop loop;
    ScriptedFunction function{512};
    emulated::EmulatedUsb usb{loop, function};
};

/// A container of this type, without parameters.
Bytes container(std::uint8_t type, std::size_t size) {
    Bytes bytes = pattern(size, type);
    const std::uint32_t length = static_cast<std::uint32_t>(size);
    std::memcpy(bytes.data(), &length, sizeof length);
    const std::uint8_t head[]{type, 0, 0x01, type == 3 ? std::uint8_t{0x20} : std::uint8_t{0x10},
                              1,    0, 0,    0};
    std::memcpy(bytes.data() + 4, head, sizeof head);
    return bytes;
}

TEST_F(UsbScan, CarriesATransactionAndEndsBehindItsLastClient) {
    Program program(usb.node());
    {
        Client client(loop, program);
        ASSERT_EQ(client.receive().header.kind, MessageKind::Opened);
        EXPECT_THROW(LibusbDevice(loop, {1, 2}, [] {}), LibusbError) << "it isn't claimed";
#ifndef ZLK_SANITIZED
        const std::string status = readFile("/proc/" + std::to_string(program.pid()) + "/status");
        EXPECT_THAT(status, testing::HasSubstr("NoNewPrivs:\t1"));
        EXPECT_THAT(status, testing::HasSubstr("Seccomp:\t2"));
#endif
        client.send(MessageKind::Write, container(1, 12), 1);
        ASSERT_TRUE(loop.until([&] { return !function.received.empty(); }));
        EXPECT_EQ(function.received.front().bytes, container(1, 12));
        function.send({container(2, 1000), true});
        function.send({container(3, 12), true});
        for (const Bytes& expected : {container(2, 1000), container(3, 12)}) {
            const Message message = client.receive();
            EXPECT_EQ(message.header.kind, MessageKind::Data);
            EXPECT_EQ(message.header.turn, 1);
            EXPECT_EQ(message.bytes, expected);
        }
    }
    ASSERT_TRUE(loop.until([&] { return program.ended().has_value(); }));
    EXPECT_EQ(*program.ended(), 0);
    EXPECT_NO_THROW(LibusbDevice(loop, {1, 2}, [] {}));
}

TEST_F(UsbScan, WaitsForWhoeverHoldsTheDeviceAndThenRefuses) {
    auto holder = std::make_unique<LibusbDevice>(loop, UsbAddress{1, 2}, [] {});
    Program patient(usb.node());
    Client refused(loop, patient);
    const Message answer = refused.receive();
    EXPECT_EQ(answer.header.kind, MessageKind::Refused);
    EXPECT_EQ(numberIn(answer), 32u);
    ASSERT_TRUE(loop.until([&] { return patient.ended().has_value(); }));
    EXPECT_EQ(*patient.ended(), 0);

    Program lucky(usb.node());
    Client served(loop, lucky);
    loop.settle();
    holder.reset();
    EXPECT_EQ(served.receive().header.kind, MessageKind::Opened);
}

TEST_F(UsbScan, TellsThatThereIsNoSuchDeviceAndThatItWasUnplugged) {
    Program without;
    Client refused(loop, without);  // waits before the start, as whoever starts it does
    without.start("/dev/bus/usb/001/099");
    EXPECT_EQ(numberIn(refused.receive()), 2u);

    Program program(usb.node());
    Client client(loop, program);
    ASSERT_EQ(client.receive().header.kind, MessageKind::Opened);
    usb.unplug();
    const Message last = client.receive();
    EXPECT_EQ(last.header.kind, MessageKind::Failed);
    EXPECT_TRUE(last.header.flags & handleIsDead);
    ASSERT_TRUE(loop.until([&] { return program.ended().has_value(); }));
    EXPECT_EQ(*program.ended(), 0);
}

TEST_F(UsbScan, WantsANodeAndAListeningSocket) {
    Program withoutSocket(usb.node(), Program::Socket::Idle), withoutNode("/dev/null");
    for (Program* program : {&withoutSocket, &withoutNode}) {
        ASSERT_TRUE(loop.until([&] { return program->ended().has_value(); }));
        EXPECT_EQ(WEXITSTATUS(*program->ended()), 2);
    }
}

#ifndef ZLK_SANITIZED
TEST(Confinement, RefusesWhatAHostNeverDoesAndNothingElse) {
    const auto failsWith = [](long result, int error) { return result == -1 && errno == error; };
    EXPECT_EQ(forked([&] {
                  confine();
                  char* const none[] = {nullptr};
                  if (!failsWith(::execve("/bin/true", none, none), EPERM)) return 1;
                  if (!failsWith(::ptrace(PTRACE_TRACEME, 0, 0, 0), EPERM)) return 2;
                  if (!failsWith(::mount("none", "/tmp", "tmpfs", MS_REMOUNT, nullptr), EPERM))
                      return 3;
                  const Bytes large(16 << 20);
                  std::thread([] {}).join();
                  const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
                  return socket >= 0 && ::open("/dev/null", O_RDWR) >= 0 ? 0 : 4;
              }),
              0);
}
#endif

}  // namespace
}  // namespace zlk::test
