#include "transport/WindowsUSB.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <span>

#include "platform/device_io.h"
#include "platform/files.h"
#include "platform/text.h"
#include "usbscan/usbscan.h"

namespace zlk {
namespace {

constexpr DWORD systemFile = 4;  // the attribute FILE_ATTRIBUTE_SYSTEM

/// A dead handle has an error of its own, because then it helps to open the camera again.
void raiseTransferError() {
    throw GetLastError() == ERROR_INVALID_HANDLE ? PTP_INVALID_HANDLE : PTP_TRANSPORT_ERROR;
}

}  // namespace

UniqueHandle WindowsUSB::open() const {
    UniqueHandle handle(CreateFileA(devicePath, GENERIC_READ | GENERIC_WRITE,
                                    FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                    systemFile, nullptr));
    if (!handle) throw PTP_NO_CONNECTION;
    return handle;
}

void WindowsUSB::openConnection(const WCHAR* port) {
    const std::string path = utf8Text(port);
    if (path.size() > 1) {
        // A path that is cut to fit could be another port's.
        if (path.size() >= sizeof devicePath) throw PTP_NO_CONNECTION;
        std::memcpy(devicePath, path.c_str(), path.size() + 1);
    }
    dataHandle = open();
    interruptHandle = open();

    // The packet size is that of the first bulk pipe. A device that doesn't report it can still be
    // used.
    USBSCAN_PIPE_CONFIGURATION pipes{};
    DWORD returned = 0;
    if (!DeviceIoControl(dataHandle.get(), IOCTL_GET_PIPE_CONFIGURATION, nullptr, 0, &pipes,
                         sizeof pipes, &returned, nullptr))
        return;
    const std::size_t count = std::min<std::size_t>(pipes.NumberOfPipes, std::size(pipes.PipeInfo));
    for (const USBSCAN_PIPE_INFORMATION& pipe : std::span(pipes.PipeInfo, count)) {
        if (pipe.PipeType != USBSCAN_PIPE_BULK) continue;
        maxPacketSize = pipe.MaximumPacketSize;
        return;
    }
}

void WindowsUSB::closeConnection() {
    // A transaction that is still open is given up, so that the camera takes another program's
    // command.
    if (dataHandle) {
        DWORD pipes = USBSCAN_ALL_PIPES;
        DWORD returned = 0;
        DeviceIoControl(dataHandle.get(), IOCTL_CANCEL_IO, &pipes, sizeof pipes, nullptr, 0,
                        &returned, nullptr);
        dataHandle.reset();
    }
    interruptHandle.reset();
}

void WindowsUSB::write(const void* buffer, std::uint32_t length) {
    if (!dataHandle) throw PTP_TRANSPORT_ERROR;
    DWORD written = 0;
    if (!WriteFile(dataHandle.get(), buffer, length, &written, nullptr)) raiseTransferError();
}

void WindowsUSB::read(void* buffer, std::uint32_t length, std::uint32_t* bytesRead) {
    if (!dataHandle) throw PTP_TRANSPORT_ERROR;
    DWORD count = 0;
    if (!ReadFile(dataHandle.get(), buffer, length, &count, nullptr)) raiseTransferError();
    *bytesRead = count;
}

void WindowsUSB::readInterrupt(void* buffer, std::uint32_t length) {
    DWORD returned = 0;  // not used, since an event has a length of its own
    if (!interruptHandle || !DeviceIoControl(interruptHandle.get(), IOCTL_WAIT_ON_DEVICE_EVENT,
                                             nullptr, 0, buffer, length, &returned, nullptr))
        throw PTP_TRANSPORT_ERROR;
}

void WindowsUSB::getVidPid(std::uint32_t* vid, std::uint32_t* pid) {
    const USBSCAN_GET_DESCRIPTOR request{1, 0, 0};
    USB_DEVICE_DESCRIPTOR descriptor{};
    DWORD returned = 0;
    if (!dataHandle ||
        !DeviceIoControl(dataHandle.get(), IOCTL_GET_USB_DESCRIPTOR, &request, sizeof request,
                         &descriptor, sizeof descriptor, &returned, nullptr))
        throw PTP_TRANSPORT_ERROR;
    *vid = descriptor.idVendor;
    *pid = descriptor.idProduct;
}

}  // namespace zlk
