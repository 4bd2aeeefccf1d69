// zlk-usbscan: shares one camera on USB between the programs of its user and of root. It ends some
// time after its last client has left, and earlier if the camera can't be opened or is gone. A
// client that finds no such process starts one, with
//
//     descriptor 3   a listening Unix socket, at which that client is waiting already
//     descriptor 4   the lock that makes this process the camera's host, held until it ends

#include <fcntl.h>
#include <sys/socket.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <thread>

#include "platform/error.h"
#include "usbscan/host/ClientListener.h"
#include "usbscan/host/DeviceHost.h"
#include "usbscan/program/Confinement.h"
#include "usbscan/program/LibusbDevice.h"

namespace zlk::usbscan {
namespace {

using namespace std::chrono_literals;

constexpr int listener = 3, lock = 4;
constexpr auto idleTime = 5s;
/// A program that has claimed the camera may be about to release it.
constexpr auto patienceWithHolder = 3s;
constexpr auto betweenAttempts = 100ms;

DWORD lastErrorOf(int libusbError) {
    switch (libusbError) {
        case LIBUSB_ERROR_BUSY:
            return ERROR_SHARING_VIOLATION;
        case LIBUSB_ERROR_ACCESS:
            return ERROR_ACCESS_DENIED;
        case LIBUSB_ERROR_NO_DEVICE:
        case LIBUSB_ERROR_NOT_FOUND:
            return ERROR_FILE_NOT_FOUND;
        default:
            return ERROR_GEN_FAILURE;
    }
}

/// Checks the two descriptors, and keeps them from being inherited.
bool takeDescriptors() {
    int listening = 0;
    socklen_t size = sizeof listening;
    if (::getsockopt(listener, SOL_SOCKET, SO_ACCEPTCONN, &listening, &size) != 0 || !listening)
        return false;
    return ::fcntl(listener, F_SETFL, ::fcntl(listener, F_GETFL) | O_NONBLOCK) == 0 &&
           ::fcntl(listener, F_SETFD, FD_CLOEXEC) == 0 && ::fcntl(lock, F_SETFD, FD_CLOEXEC) == 0;
}

/// Retries while another program has claimed the camera. Throws LibusbError.
std::unique_ptr<UsbDevice> openDevice(EventLoop& loop, UsbAddress address,
                                      const std::function<void()>& unplugged) {
    const auto end = EventLoop::Clock::now() + patienceWithHolder;
    for (;;) {
        try {
            return std::make_unique<LibusbDevice>(loop, address, unplugged);
        } catch (const LibusbError& error) {
            if (error.code() != LIBUSB_ERROR_BUSY || EventLoop::Clock::now() >= end) throw;
            std::this_thread::sleep_for(betweenAttempts);
        }
    }
}

void serve(EventLoop& loop, UsbAddress address) {
    std::unique_ptr<DeviceHost> host;
    auto device = openDevice(loop, address, [&] { host->deviceGone(); });
    // Rights are given up as soon as the device is open, when nothing that it sends has been looked
    // at but its descriptors.
    confine();
    host = std::make_unique<DeviceHost>(loop, std::move(device), idleTime, [&] { loop.stop(); });
    host->listenOn(listener);
    loop.run();
}

void run(UsbAddress address) {
    EventLoop loop;
    try {
        serve(loop, address);
    } catch (const LibusbError& error) {
        // The clients that wait are told why. A client that connects later starts a new host, which
        // may have more success.
        refuseWaiting(listener, lastErrorOf(error.code()));
    }
}

}  // namespace
}  // namespace zlk::usbscan

int main(int argc, char** argv) {
    using namespace zlk::usbscan;
    const auto address = argc == 2 ? UsbAddress::ofNode(argv[1]) : std::nullopt;
    if (!address || !takeDescriptors()) {
        std::fputs("Usage: zlk-usbscan /dev/bus/usb/BBB/DDD 3<>LISTENING-SOCKET 4<>LOCK\n", stderr);
        return 2;
    }
    try {
        run(*address);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "zlk-usbscan: %s\n", error.what());
        return 1;
    }
    return 0;
}
