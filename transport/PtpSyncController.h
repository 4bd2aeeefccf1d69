#pragma once
#include <string>

#include "platform/named_objects.h"
#include "ptp/PTPSyncInterface.h"
#include "transport/PortTable.h"
#include "transport/SharedSection.h"

namespace zlk {

/// Arbitrates by a table that the processes of this system make for themselves, the section
/// `Global\ZlPtpHandlesToCameras` of 1024 bytes: entry zero and five cameras. It lives as long as
/// any process that ever had an arbiter.
///
/// A camera's entry changes hands under the camera's own mutex. The table itself, its count and
/// its entries' places, is read and changed under `Global\ZlPtpTableMutex`: without that, processes
/// that start together lose each other's entries, and one that looks for its entry while another
/// moves it finds none, or another camera's. Order: the port's mutex, then the table's, which
/// nobody holds for longer than a look through the table.
///
/// Refused with PTP_GENERAL_ERROR: a port of more than 19 bytes; one camera more than the table
/// has room for, which leaves the table as it was; a port whose mutex can't be had.
class PtpSyncController : public PTPSyncInterface {
  public:
    PtpSyncController();
    ~PtpSyncController() override;
    PtpSyncController(const PtpSyncController&) = delete;
    PtpSyncController& operator=(const PtpSyncController&) = delete;

    std::uint32_t getMutex(const WCHAR* port) override;
    void releaseMutex(const WCHAR* port, std::uint32_t transactionId) override;
    void setPort(const WCHAR* port) override;
    void removePort(const WCHAR* port) override;
    /// Empty: this table has no ids.
    wString findPortbyVidPid(std::uint32_t, std::uint32_t) override { return {}; }
    void updatePortInfo(const WCHAR*, std::uint32_t, std::uint32_t) override {}

  private:
    using Table = PortTable<CameraPortEntry>;

    class TableHold;
    Table table(const TableHold& hold) const;
    void makeOrOpenTable();
    void cleanupMappedFile();
    void letGo();
    CameraPortEntry& entryOf(const std::string& port, const TableHold& hold) const;
    CameraPortEntry copyOf(const std::string& port);

    UniqueHandle mutex;        // of the port that is held
    UniqueHandle formerMutex;  // of the port that was held before
    UniqueHandle tableMutex;
    SharedSection section;  // the table
};

}  // namespace zlk
