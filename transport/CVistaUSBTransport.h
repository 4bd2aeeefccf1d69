#pragma once
#include "platform/named_objects.h"
#include "ptp/TransportInterface.h"

namespace zlk {

/// A camera of the younger driver family, by its device path without the prefix `\\?\`. What the
/// device tells about itself is read once, at opening.
///
/// Differs from WindowsUSB where a caller may notice: without a port it stays closed and raises
/// nothing; while it is closed, reads and writes do nothing, so that a count stays 0; it delivers
/// no events.
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
    /// 0 before openConnection().
    std::uint32_t getMaxPacketSize() override;
    void getVidPid(std::uint32_t* vidOut, std::uint32_t* pidOut) override;

  private:
    void ask(DWORD code, void* answer, DWORD size) const;

    UniqueHandle handle;
    std::uint32_t maxPacketSize = 0;
    std::uint32_t vid = 0;
    std::uint32_t pid = 0;
};

}  // namespace zlk
