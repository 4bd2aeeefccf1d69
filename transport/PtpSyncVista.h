#pragma once
#include <string>

#include "platform/named_objects.h"
#include "ptp/PTPSyncInterface.h"
#include "transport/PortTable.h"
#include "transport/SharedSection.h"

namespace zlk {

/// Arbitrates by the table that the owner of the younger driver family makes and fills, the
/// section `Global\ZlPtpWPDHandlesToCameras`. Of it only an entry's transaction id is written, with
/// the port's mutex held; entries stay in place. Without the table, or for a port that it doesn't
/// list, PTP_GENERAL_ERROR.
class PtpSyncVista : public PTPSyncInterface {
  public:
    PtpSyncVista() = default;
    /// Leaves the table mapped, and the mutexes that were made, to the end of the process.
    ~PtpSyncVista() override;
    PtpSyncVista(const PtpSyncVista&) = delete;
    PtpSyncVista& operator=(const PtpSyncVista&) = delete;

    std::uint32_t getMutex(const WCHAR* port) override;
    void releaseMutex(const WCHAR* port, std::uint32_t transactionId) override;
    /// Changes nothing, and raises nothing where there is no table.
    void setPort(const WCHAR* port) override;
    void removePort(const WCHAR*) override {}
    wString findPortbyVidPid(std::uint32_t vid, std::uint32_t pid) override;
    /// The ids come from the table's owner.
    void updatePortInfo(const WCHAR*, std::uint32_t, std::uint32_t) override {}

  private:
    using Table = PortTable<DevicePathEntry>;

    Table table() const noexcept;
    DevicePathEntry& entryOf(const std::string& port);
    void letGo();

    UniqueHandle mutex;
    SharedSection section;  // the table
};

}  // namespace zlk
