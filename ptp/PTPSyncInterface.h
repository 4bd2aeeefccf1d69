#pragma once
// The arbiter of ports: keeps two initiators, in one process or in several, from having
// transactions with a camera at the same time.

#include <cstdint>
#include <memory>

#include "platform/types.h"
#include "ptp/PTPCommErrors.h"
#include "ptp/wString.h"

namespace zlk {

/// Gives each port to one thread at a time, among the threads of all processes, and keeps the
/// transaction id that comes next on the port. All functions may throw PTP_GENERAL_ERROR. `port` is
/// the text that TransportInterface::openConnection() takes. An object is for one thread at a time.
class PTPSyncInterface {
  public:
    virtual ~PTPSyncInterface() = default;

    /// Waits without a time limit until the port is free, and takes it for the calling thread.
    /// Returns the id of the next command.
    virtual std::uint32_t getMutex(const WCHAR* port) = 0;
    /// Stores the id of the next command and releases the port. To be called by the thread that
    /// took the port.
    virtual void releaseMutex(const WCHAR* port, std::uint32_t transactionId) = 0;

    /// Makes the port known. Each call is to be matched by one of removePort().
    virtual void setPort(const WCHAR* port) = 0;
    virtual void removePort(const WCHAR* port) = 0;

    /// The port of the camera with these USB ids; empty if there is none, or if the arbiter keeps
    /// no ids.
    virtual wString findPortbyVidPid(std::uint32_t vid, std::uint32_t pid) = 0;
    /// Reports the ids of the camera at a port. An arbiter that keeps no ids, or has them from the
    /// driver, ignores this.
    virtual void updatePortInfo(const WCHAR* port, std::uint32_t vid, std::uint32_t pid) = 0;
};

/// The arbiter for the driver family of this system. Never null; may throw PTP_GENERAL_ERROR.
/// Defined in transport/.
std::unique_ptr<PTPSyncInterface> createPortArbiter();

}  // namespace zlk
