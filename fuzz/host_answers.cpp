// Fuzzes the client of a device host with arbitrary messages in answer to its reads, writes and
// controls.

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <memory>
#include <thread>

#include "fuzz/Input.h"
#include "platform/device_io.h"
#include "platform/files.h"
#include "platform/named_objects.h"
#include "usbscan/Protocol.h"
#include "usbscan/host/DeviceEntry.h"
#include "usbscan/usbscan.h"

using namespace zlk::usbscan;
using zlk::fuzz::Input;

namespace {

/// A message of any kind, with a payload of any length and sometimes a wrong length in its header.
std::string hostMessage(Input& input) {
    const auto kind = static_cast<MessageKind>(input.byte() % 12 + 64);
    const std::uint8_t size = input.byte();
    const std::uint8_t shape = input.byte();
    const std::string payload = input.narrow(size);
    MessageHeader header{static_cast<std::uint32_t>(payload.size()), kind,
                         static_cast<std::uint8_t>(shape % 4),
                         static_cast<std::uint16_t>(shape / 4 % 4)};
    if (shape == 255) header.length = 0xFFFFFFF0;
    return std::string(reinterpret_cast<const char*>(&header), sizeof header) + payload;
}

/// Accepts each client, sends it the prepared answers, and waits until it has gone.
void answerClients(int listening, const std::string& answers, const std::atomic<bool>& over) {
    while (!over) {
        pollfd wait{listening, POLLIN, 0};
        const int client = ::poll(&wait, 1, 1) > 0 ? ::accept(listening, nullptr, nullptr) : -1;
        if (client < 0) continue;
        static_cast<void>(::send(client, answers.data(), answers.size(), MSG_NOSIGNAL));
        ::shutdown(client, SHUT_WR);
        // A socket that is closed with unread bytes discards what it has sent, too.
        for (char unread[4096]; ::recv(client, unread, sizeof unread, 0) > 0;) {
        }
        ::close(client);
    }
}

/// One call of a program. Whatever the host answers, the count must not exceed the buffer.
void call(HANDLE camera, std::uint8_t what, std::span<std::byte> buffer) {
    constexpr unsigned char command[12] = {12, 0, 0, 0, 1, 0};
    constexpr DWORD codes[] = {IOCTL_WAIT_ON_DEVICE_EVENT, IOCTL_GET_PIPE_CONFIGURATION,
                               ZL_IOCTL_GET_DEVICE_DESCRIPTOR, ZL_IOCTL_GET_MAX_PACKET_SIZE,
                               IOCTL_CANCEL_IO};
    const auto room = static_cast<DWORD>(buffer.size());
    DWORD done = 0;
    if (what % 4 == 0) {
        WriteFile(camera, command, sizeof command, &done, nullptr);
        done = 0;
    } else if (what % 4 == 1) {
        DeviceIoControl(camera, codes[what / 4 % 5], nullptr, 0, buffer.data(), room, &done,
                        nullptr);
    } else {
        ReadFile(camera, buffer.data(), room, &done, nullptr);
    }
    zlk::fuzz::require(done <= room);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Made once: the entry is found by its name on disk, and creating it for each run would be
    // slow.
    static DeviceEntry device(deviceFolder(), "fuzzed", {1, 1, "", "", ""});
    Input input(data, size);
    const MessageHeader opened{0, MessageKind::Opened, 0, 0};
    std::string answers;
    // In most runs the connection succeeds, or nothing else would be reached.
    if (input.byte() != 0) answers.assign(reinterpret_cast<const char*>(&opened), sizeof opened);
    for (int messages = input.byte() % 32; messages > 0; --messages) answers += hostMessage(input);
    std::atomic<bool> over = false;
    std::thread host([&] { answerClients(device.listeningSocket(), answers, over); });
    {
        const zlk::UniqueHandle camera(CreateFileA("\\\\.\\Usbscan1000",
                                                   GENERIC_READ | GENERIC_WRITE, 0, nullptr,
                                                   OPEN_EXISTING, 0, nullptr));
        for (int calls = input.byte() % 32; camera && calls > 0; --calls) {
            const std::uint8_t what = input.byte();
            // The buffer has exactly the size that is passed, so that the sanitizer notices one
            // byte too many.
            const DWORD room = input.byte();
            const auto buffer = std::make_unique<std::byte[]>(room);
            call(camera.get(), what, {buffer.get(), room});
        }
    }
    over = true;
    host.join();
    return 0;
}
