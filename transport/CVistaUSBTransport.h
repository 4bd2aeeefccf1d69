#pragma once
// The transport to a camera of the second, younger driver family.

#include "platform/named_objects.h"
#include "ptp/TransportInterface.h"

namespace zlk {

/// The port is a device path without the prefix `\\?\`. The device's ids and packet size are read
/// once, at opening. There are no events.
///
/// Opening an empty port does nothing. While the transport is closed, write() does nothing, and
/// read() leaves the buffer and the count of bytes as they are. A transfer on a dead handle throws
/// PTP_TRANSPORT_ERROR.
class CVistaUSBTransport : public TransportInterface {
  public:
    CVistaUSBTransport() = default;
    ~CVistaUSBTransport() override { CVistaUSBTransport::closeConnection(); }
    CVistaUSBTransport(const CVistaUSBTransport&) = delete;
    CVistaUSBTransport& operator=(const CVistaUSBTransport&) = delete;

    void openConnection(const WCHAR* port) override;
    void closeConnection() override;
    void write(const void* buffer, std::uint32_t length) override;
    void read(void* buffer, std::uint32_t length, std::uint32_t* bytesRead) override;
    void readInterrupt(void* buffer, std::uint32_t length) override;
    /// In bytes; 0 until a device has reported it.
    std::uint32_t getMaxPacketSize() override;
    void getVidPid(std::uint32_t* vidOut, std::uint32_t* pidOut) override;

  private:
    /// Sends a control code. Throws PTP_TRANSPORT_ERROR if that fails, or if the answer hasn't
    /// exactly `size` bytes.
    void ask(DWORD code, void* answer, DWORD size) const;

    UniqueHandle handle;
    // What the device reported when it was opened; the packet size is in bytes.
    std::uint32_t maxPacketSize = 0;
    std::uint32_t vid = 0;
    std::uint32_t pid = 0;
};

}  // namespace zlk
