#pragma once
// The transport to a camera of the first driver family.

#include "platform/named_objects.h"
#include "ptp/TransportInterface.h"

namespace zlk {

/// The camera is a file of the still-image driver, `\\.\Usbscan<n>`. One handle is for the bulk
/// pipes and another for the interrupt pipe. getVidPid() asks the driver each time; the packet size
/// is read once, at opening.
class WindowsUSB : public TransportInterface {
  public:
    WindowsUSB() = default;
    ~WindowsUSB() override { WindowsUSB::closeConnection(); }
    WindowsUSB(const WindowsUSB&) = delete;
    WindowsUSB& operator=(const WindowsUSB&) = delete;

    /// A port of at most one byte opens the last port again. PTP_NO_CONNECTION is also thrown for a
    /// port of more than 19 bytes.
    void openConnection(const WCHAR* port) override;
    void closeConnection() override;
    void write(const void* buffer, std::uint32_t length) override;
    void read(void* buffer, std::uint32_t length, std::uint32_t* bytesRead) override;
    void readInterrupt(void* buffer, std::uint32_t length) override;
    std::uint32_t getMaxPacketSize() override { return maxPacketSize; }
    void getVidPid(std::uint32_t* vid, std::uint32_t* pid) override;

  private:
    /// A new handle of the device. Throws PTP_NO_CONNECTION.
    UniqueHandle open() const;

    UniqueHandle dataHandle;
    UniqueHandle interruptHandle;
    char devicePath[20] = {};          // the last port, UTF-8
    std::uint32_t maxPacketSize = 64;  // bytes; 64 until a device has reported its bulk pipes
};

}  // namespace zlk
