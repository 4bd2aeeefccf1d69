// The program that owns a camera on USB, as its clients start and meet it.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/ptrace.h>
#include <sys/wait.h>

#include <cerrno>
#include <thread>

#include "platform/error.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/TestMachine.h"
#include "tests/usb/ScriptedFunction.h"
#include "tests/usb/SteppedLoop.h"
#include "tests/usbscan/HostClient.h"
#include "tools/emulated_usb/EmulatedUsb.h"
#include "usbscan/HostEndpoint.h"
#include "usbscan/program/Confinement.h"
#include "usbscan/program/LibusbDevice.h"

namespace zlk::test {
namespace {

using namespace zlk::usbscan;

/// Becomes the program, once it is told to. Arguments: the node, and the folder in which it
/// listens; without one its socket doesn't listen.
ZLK_CHILD(becomesTheProgram) {
    const std::string& folder = child.arguments[1];
    const Descriptor socket = folder.empty() ? Descriptor(::socket(AF_UNIX, SOCK_STREAM, 0))
                                             : DeviceAddress(folder, "device").listen();
    const Descriptor lock(::open("/dev/null", O_RDWR));
    // Above the numbers that they get, so that neither overwrites the other.
    const int high[] = {::fcntl(socket.get(), F_DUPFD_CLOEXEC, 50),
                        ::fcntl(lock.get(), F_DUPFD_CLOEXEC, 50)};
    child.say("listens");
    child.hear();
    for (int i = 0; i < 2; ++i) ::dup2(high[i], 3 + i);
    ::setenv("LD_PRELOAD", "libumockdev-preload.so.0", 1);
    ::setenv("ASAN_OPTIONS", "verify_asan_link_order=0", 1);
    const std::string program = moduleFolder() / "zlk-usbscan";
    return ::execl(program.c_str(), program.c_str(), child.arguments[0].c_str(), nullptr);
}

/// The program, and the socket at which it listens before it runs.
class Program {
  public:
    explicit Program(const std::string& node, const std::string& folder = newFolder())
        : process("becomesTheProgram", {node, folder}), folder_(folder) {
        EXPECT_EQ(process.hear(), "listens");
    }
    Program& start() {
        process.say("go");
        return *this;
    }
    HostClient connect() const { return HostClient(DeviceAddress(folder_, "device").connect()); }
    /// The exit status, while the bus goes on.
    int statusAtEnd(SteppedLoop& loop) {
        siginfo_t end{};
        EXPECT_TRUE(loop.until([&] {
            ::waitid(P_PID, static_cast<id_t>(process.pid()), &end, WEXITED | WNOHANG | WNOWAIT);
            return end.si_pid != 0;
        }));
        return end.si_pid ? process.wait() : -1;
    }

    ChildProcess process;

  private:
    const std::string folder_;
};

class UsbScan : public testing::Test {
  protected:
    /// The next message; one of no kind at the end.
    HostMessage receive(HostClient& client) {
        loop.until([&] { return !client.read() || !client.heard.empty(); });
        if (client.heard.empty()) return {};
        HostMessage first = client.heard.front();
        client.heard.erase(client.heard.begin());
        return first;
    }

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
        HostClient client = program.start().connect();
        ASSERT_EQ(receive(client).header.kind, MessageKind::Opened);
        EXPECT_THROW(LibusbDevice(loop, {1, 2}, [] {}), LibusbError) << "it isn't claimed";
#ifndef ZLK_SANITIZED
        const std::string status =
            readFile("/proc/" + std::to_string(program.process.pid()) + "/status");
        EXPECT_THAT(status, testing::HasSubstr("NoNewPrivs:\t1"));
        EXPECT_THAT(status, testing::HasSubstr("Seccomp:\t2"));
#endif
        client.say(MessageKind::Write, container(1, 12));
        ASSERT_TRUE(loop.until([&] { return !function.received.empty(); }));
        EXPECT_EQ(function.received.front().bytes, container(1, 12));
        function.send({container(2, 1000), true});
        function.send({container(3, 12), true});
        for (const Bytes& expected : {container(2, 1000), container(3, 12)}) {
            const HostMessage message = receive(client);
            EXPECT_EQ(message.header.kind, MessageKind::Data);
            EXPECT_EQ(message.header.turn, 1);
            EXPECT_EQ(message.bytes, expected);
        }
    }
    EXPECT_EQ(program.statusAtEnd(loop), 0);
    EXPECT_NO_THROW(LibusbDevice(loop, {1, 2}, [] {}));
}

TEST_F(UsbScan, WaitsForWhoeverHoldsTheDevice) {
    auto holder = std::make_unique<LibusbDevice>(loop, UsbAddress{1, 2}, [] {});
    Program program(usb.node());
    HostClient client = program.start().connect();
    loop.settle();
    holder.reset();
    EXPECT_EQ(receive(client).header.kind, MessageKind::Opened);
}

TEST_F(UsbScan, TellsThatThereIsNoSuchDeviceAndThatItWasUnplugged) {
    Program without("/dev/bus/usb/001/099");
    HostClient refused = without.connect();  // waits before the start, as whoever starts it does
    without.start();
    EXPECT_EQ(receive(refused).number(), ERROR_FILE_NOT_FOUND);

    Program program(usb.node());
    HostClient client = program.start().connect();
    ASSERT_EQ(receive(client).header.kind, MessageKind::Opened);
    usb.unplug();
    const HostMessage last = receive(client);
    EXPECT_EQ(last.header.kind, MessageKind::Failed);
    EXPECT_TRUE(last.header.flags & handleIsDead);
    EXPECT_EQ(program.statusAtEnd(loop), 0);
}

TEST_F(UsbScan, WantsANodeAndAListeningSocket) {
    EXPECT_EQ(Program(usb.node(), "").start().statusAtEnd(loop), 2);
    EXPECT_EQ(Program("/dev/null").start().statusAtEnd(loop), 2);
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
