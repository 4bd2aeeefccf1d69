#pragma once
// The arbiter of ports for the second driver family.

#include <string>

#include "platform/named_objects.h"
#include "ptp/PTPSyncInterface.h"
#include "transport/PortTable.h"
#include "transport/SharedSection.h"

namespace zlk {

/// Arbitrates by the table that the driver of the second family makes and fills: the section
/// `Global\ZlPtpWPDHandlesToCameras`. Only releaseMutex() writes there: it stores the port's
/// transaction id before it releases the mutex. Entries never move.
///
/// PTP_GENERAL_ERROR is thrown, among other cases, for a port of more than 199 bytes; by getMutex()
/// if there is no table; and by getMutex() and releaseMutex() for a port that the table doesn't
/// list. An arbiter is for one thread.
class PtpSyncVista : public PTPSyncInterface {
  public:
    PtpSyncVista() = default;
    /// The table stays mapped, and mutexes that this process has made stay open, until the process
    /// ends.
    ~PtpSyncVista() override;
    PtpSyncVista(const PtpSyncVista&) = delete;
    PtpSyncVista& operator=(const PtpSyncVista&) = delete;

    std::uint32_t getMutex(const WCHAR* port) override;
    void releaseMutex(const WCHAR* port, std::uint32_t transactionId) override;
    /// Changes nothing, since the driver enters the ports. A missing table is no error here.
    void setPort(const WCHAR* port) override;
    void removePort(const WCHAR*) override {}
    wString findPortbyVidPid(std::uint32_t vid, std::uint32_t pid) override;
    /// Does nothing, since the driver enters the ids.
    void updatePortInfo(const WCHAR*, std::uint32_t, std::uint32_t) override {}

  private:
    using Table = PortTable<DevicePathEntry>;

    Table table() const noexcept;
    /// The port's entry in the table. Throws PTP_GENERAL_ERROR if there is none.
    DevicePathEntry& entryOf(const std::string& port);
    /// Releases the port's mutex, if it is held.
    void letGo();

    UniqueHandle mutex;     // of the port whose turn this arbiter has; empty otherwise
    SharedSection section;  // the table
};

}  // namespace zlk
