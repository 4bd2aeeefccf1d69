#include "transport/CVistaUSBTransport.h"

#include "foundation/TraceLine.h"
#include "platform/device_io.h"
#include "platform/files.h"
#include "platform/text.h"
#include "usbscan/usbscan.h"

namespace zlk {
namespace {

constexpr char category[] = "CVistaUSBTransport";

}  // namespace

void CVistaUSBTransport::ask(DWORD code, void* answer, DWORD size) const {
    DWORD returned = 0;
    // A shorter answer would leave fields at 0, as if the device had sent zeros.
    if (!DeviceIoControl(handle.get(), code, nullptr, 0, answer, size, &returned, nullptr) ||
        returned != size)
        throw PTP_TRANSPORT_ERROR;
}

void CVistaUSBTransport::openConnection(const WCHAR* port) {
    TraceLine(category, "openConnection");
    if (!*port) {
        TraceLine(category, "GetDevicePath(...) returned NULL!");
        return;
    }
    handle = UniqueHandle(
        CreateFileA(("\\\\?\\" + utf8Text(port)).c_str(), GENERIC_READ | GENERIC_WRITE,
                    FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr));
    if (!handle) {
        WCHAR message[260]{};
        FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr,
                       GetLastError(), 0x400, message, 260);
        TraceLine(category, "Error: %s", static_cast<const WCHAR*>(message));
        throw PTP_NO_CONNECTION;
    }
    USB_DEVICE_DESCRIPTOR descriptor{};
    ask(ZL_IOCTL_GET_DEVICE_DESCRIPTOR, &descriptor, sizeof descriptor);
    vid = descriptor.idVendor;
    pid = descriptor.idProduct;
    DWORD size = 0;
    ask(ZL_IOCTL_GET_MAX_PACKET_SIZE, &size, sizeof size);
    maxPacketSize = size;
}

void CVistaUSBTransport::closeConnection() {
    TraceLine(category, "closeConnection");
    handle.reset();
}

void CVistaUSBTransport::write(const void* buffer, std::uint32_t length) {
    TraceLine(category, "write");
    if (!handle) {
        TraceLine(category, "Invalid device handle!");
        return;
    }
    DWORD written = 0;
    if (WriteFile(handle.get(), buffer, length, &written, nullptr)) return;
    TraceLine(category, "WriteFile(...) FAILED!");
    throw PTP_TRANSPORT_ERROR;
}

void CVistaUSBTransport::read(void* buffer, std::uint32_t length, std::uint32_t* bytesRead) {
    TraceLine(category, "read");
    if (!handle) {
        TraceLine(category, "Invalid device handle!");
        return;
    }
    DWORD count = 0;
    if (!ReadFile(handle.get(), buffer, length, &count, nullptr)) {
        TraceLine(category, "ReadFile(...) FAILED!");
        throw PTP_TRANSPORT_ERROR;
    }
    *bytesRead = count;
}

void CVistaUSBTransport::readInterrupt(void*, std::uint32_t) {
    TraceLine(category, "readInterrupt");
}

std::uint32_t CVistaUSBTransport::getMaxPacketSize() {
    TraceLine(category, "getMaxPacketSize");
    return maxPacketSize;
}

void CVistaUSBTransport::getVidPid(std::uint32_t* vidOut, std::uint32_t* pidOut) {
    TraceLine(category, "getVidPid");
    *vidOut = vid;
    *pidOut = pid;
}

}  // namespace zlk
