#pragma once
#include "platform/named_objects.h"
#include "ptp/TransportInterface.h"

namespace zlk {

/// A camera as a file of the still-image driver, `\\.\Usbscan<n>`, with one handle for the bulk
/// pipes and one for the interrupt pipe. Every call goes to the device, getVidPid() too.
class WindowsUSB : public TransportInterface {
  public:
    WindowsUSB() = default;
    ~WindowsUSB() override { WindowsUSB::closeConnection(); }
    WindowsUSB(const WindowsUSB&) = delete;
    WindowsUSB& operator=(const WindowsUSB&) = delete;

    /// A port of one character or none opens the last one again. PTP_NO_CONNECTION also for a port
    /// of more than 19 bytes.
    void openConnection(const WCHAR* port) override;
    void closeConnection() override;
    void write(const void* buffer, std::uint32_t length) override;
    void read(void* buffer, std::uint32_t length, std::uint32_t* bytesRead) override;
    void readInterrupt(void* buffer, std::uint32_t length) override;
    std::uint32_t getMaxPacketSize() override { return maxPacketSize; }
    void getVidPid(std::uint32_t* vid, std::uint32_t* pid) override;

  private:
    UniqueHandle open() const;

    UniqueHandle dataHandle;
    UniqueHandle interruptHandle;
    char devicePath[20] = {};
    std::uint32_t maxPacketSize = 64;
};

}  // namespace zlk
