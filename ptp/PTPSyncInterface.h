#pragma once
// The arbiter of ports: keeps two initiators, in one process or in several, from using a camera at
// the same time.

#include <cstdint>
#include <memory>

#include "platform/types.h"
#include "ptp/PTPCommErrors.h"
#include "ptp/wString.h"

namespace zlk {

/// Knows the ports of all processes of the system: whose turn it is on each, and the transaction id
/// that comes next there. All functions may throw PTP_GENERAL_ERROR. `port` is the text that opens
/// the camera on its driver family.
class PTPSyncInterface {
  public:
    virtual ~PTPSyncInterface() = default;

    /// Waits without a time limit until the port is free, and takes it for the calling thread.
    /// Returns the id of the next command.
    virtual std::uint32_t getMutex(const WCHAR* port) = 0;
    /// Stores the id of the next command and releases the port. To be called by the same thread.
    virtual void releaseMutex(const WCHAR* port, std::uint32_t transactionId) = 0;

    /// Makes the port known. Each call is to be matched by one of removePort().
    virtual void setPort(const WCHAR* port) = 0;
    virtual void removePort(const WCHAR* port) = 0;

    /// The port of the camera with these USB ids; empty if there is none, or if the ids aren't
    /// known.
    virtual wString findPortbyVidPid(std::uint32_t vid, std::uint32_t pid) = 0;
    /// Enters the ids of the camera at a port, where the arbiter doesn't know them by itself.
    virtual void updatePortInfo(const WCHAR* port, std::uint32_t vid, std::uint32_t pid) = 0;
};

/// The arbiter for the driver family of this system. Never null. Defined in transport/.
std::unique_ptr<PTPSyncInterface> createPortArbiter();

}  // namespace zlk
