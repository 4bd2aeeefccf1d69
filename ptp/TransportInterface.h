#pragma once
// The interface through which the PTP engine reaches a camera's pipes.

#include <cstdint>
#include <memory>

#include "platform/types.h"
#include "ptp/PTPCommErrors.h"

namespace zlk {

/// One camera: two bulk pipes and an interrupt pipe. Calls block, for as long as the driver's
/// time-outs allow. A failed transfer throws PTP_TRANSPORT_ERROR, or from some transports
/// PTP_INVALID_HANDLE if the handle is dead. Nothing is retried. For one thread at a time.
class TransportInterface {
  public:
    virtual ~TransportInterface() = default;

    /// Throws PTP_NO_CONNECTION if the device can't be opened. An object may be opened again after
    /// closeConnection().
    virtual void openConnection(const WCHAR* port) = 0;
    /// Does nothing if the connection is closed already.
    virtual void closeConnection() = 0;

    /// Sends all bytes in one transfer.
    virtual void write(const void* buffer, std::uint32_t length) = 0;
    /// Receives one transfer of at most `length` bytes. `*bytesRead`, which the caller sets to 0
    /// before, becomes the number of bytes that came. A zero-length packet gives 0.
    virtual void read(void* buffer, std::uint32_t length, std::uint32_t* bytesRead) = 0;
    /// Waits for an event. If the driver gives up waiting, or the transport has no events, the
    /// buffer is left as it is.
    virtual void readInterrupt(void* buffer, std::uint32_t length) = 0;

    /// Packet size of a bulk pipe in bytes. Where it isn't known, a transport gives a usual size or
    /// 0.
    virtual std::uint32_t getMaxPacketSize() = 0;
    virtual void getVidPid(std::uint32_t* vid, std::uint32_t* pid) = 0;
};

/// A closed transport for the driver family of this system. Never null. Defined in transport/.
std::unique_ptr<TransportInterface> createTransport();

}  // namespace zlk
