#pragma once
// What keeps two initiators from talking to one port at the same time.

#include <cstdint>
#include <memory>

#include "platform/types.h"
#include "ptp/PTPCommErrors.h"
#include "ptp/wString.h"

namespace zlk {

/// The ports of all processes of the system: who may talk on each, and the transaction id that
/// comes next there. A failure is a thrown PTP_GENERAL_ERROR.
class PTPSyncInterface {
  public:
    virtual ~PTPSyncInterface() = default;

    /// Waits until the port is free, without a limit, and takes it. The id of the next command.
    virtual std::uint32_t getMutex(const WCHAR* port) = 0;
    /// Stores the id of the next command, and lets go of the port.
    virtual void releaseMutex(const WCHAR* port, std::uint32_t transactionId) = 0;

    /// Makes the port known; each call is matched by a removePort().
    virtual void setPort(const WCHAR* port) = 0;
    virtual void removePort(const WCHAR* port) = 0;

    /// The port of the camera with these USB ids; empty if there is none, or no way to tell.
    virtual wString findPortbyVidPid(std::uint32_t vid, std::uint32_t pid) = 0;
    virtual void updatePortInfo(const WCHAR* port, std::uint32_t vid, std::uint32_t pid) = 0;
};

/// The arbiter of this system. Never null.
std::unique_ptr<PTPSyncInterface> createPortArbiter();

}  // namespace zlk
