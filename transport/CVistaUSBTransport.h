#pragma once
// The transport to a camera of the second, younger driver family.

#include "platform/named_objects.h"
#include "ptp/TransportInterface.h"

namespace zlk {

/// The port is a device path without the prefix `\\?\`. The device's ids and packet size are read
/// once, at opening.
///
/// Callers may notice some differences from WindowsUSB. With an empty port, this transport stays
/// closed and throws nothing. While closed, its reads and writes do nothing and leave the count of
/// bytes as it was. A dead handle gives PTP_TRANSPORT_ERROR like any other failure. There are no
/// events.
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
    /// In bytes; 0 before openConnection().
    std::uint32_t getMaxPacketSize() override;
    void getVidPid(std::uint32_t* vidOut, std::uint32_t* pidOut) override;

  private:
    /// Sends a control code, whose answer must have exactly this size. Throws PTP_TRANSPORT_ERROR.
    void ask(DWORD code, void* answer, DWORD size) const;

    UniqueHandle handle;
    // What the device reported when it was opened; the packet size is in bytes.
    std::uint32_t maxPacketSize = 0;
    std::uint32_t vid = 0;
    std::uint32_t pid = 0;
};

}  // namespace zlk
