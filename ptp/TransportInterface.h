#pragma once
// What the engine sees of the wire.

#include <cstdint>
#include <memory>

#include "platform/types.h"
#include "ptp/PTPCommErrors.h"

namespace zlk {

/// One camera's pipes: two bulk streams and an interrupt pipe. Calls block, in the limits of the
/// driver; a failure is a thrown PTPCommErrors, and nothing is tried again.
class TransportInterface {
  public:
    virtual ~TransportInterface() = default;

    /// PTP_NO_CONNECTION if the device can't be opened. An object can be opened once more after
    /// closeConnection().
    virtual void openConnection(const WCHAR* port) = 0;
    /// Closing twice is harmless.
    virtual void closeConnection() = 0;

    /// One transfer of all bytes.
    virtual void write(const void* buffer, std::uint32_t length) = 0;
    /// One transfer of at most `length` bytes. `*bytesRead`, 0 before the call, becomes the count;
    /// 0 is also what a packet of no bytes gives.
    virtual void read(void* buffer, std::uint32_t length, std::uint32_t* bytesRead) = 0;
    /// Waits for an event. A transport without events, or whose driver gave up waiting, leaves
    /// the buffer as it is.
    virtual void readInterrupt(void* buffer, std::uint32_t length) = 0;

    /// Of a bulk pipe, in bytes; 0 if the transport doesn't know it.
    virtual std::uint32_t getMaxPacketSize() = 0;
    virtual void getVidPid(std::uint32_t* vid, std::uint32_t* pid) = 0;
};

/// The transport of this system. Never null.
std::unique_ptr<TransportInterface> createTransport();

}  // namespace zlk
