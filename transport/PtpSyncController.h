#pragma once
// The arbiter of ports for the first driver family.

#include <string>

#include "platform/named_objects.h"
#include "ptp/PTPSyncInterface.h"
#include "transport/PortTable.h"
#include "transport/SharedSection.h"

namespace zlk {

/// Arbitrates by a table that the processes of this system make for themselves: the section
/// `Global\ZlPtpHandlesToCameras` of 1024 bytes, with an entry named `zero` and room for five
/// cameras. The section exists as long as any process lives that has had an arbiter.
///
/// A thread may use a camera while it holds that camera's own mutex. The table itself, that is, its
/// count and the places of its entries, is read and changed under `Global\ZlPtpTableMutex`.
/// Otherwise processes that start together would lose each other's entries, and a process that
/// looks for its entry while another moves it would find none, or another camera's. Lock order: the
/// port's mutex first, then the table's.
///
/// PTP_GENERAL_ERROR is thrown, among other cases, for a port of more than 19 bytes; by setPort()
/// if the table is full; and by getMutex() and releaseMutex() for a port that the table doesn't
/// list. If the table can't be opened, getMutex() returns 0 without taking a mutex, and
/// releaseMutex() and removePort() do nothing.
///
/// An arbiter is for one thread, since mutexes belong to threads.
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
    /// Always empty, since this table has no USB ids.
    wString findPortbyVidPid(std::uint32_t, std::uint32_t) override { return {}; }
    void updatePortInfo(const WCHAR*, std::uint32_t, std::uint32_t) override {}

  private:
    using Table = PortTable<CameraPortEntry>;

    class TableHold;
    /// The table, to be used only while `hold` exists. It is repaired first if the previous holder
    /// of its mutex died while holding the mutex.
    Table table(const TableHold& hold) const;
    void makeOrOpenTable();
    void cleanupMappedFile();
    /// Releases the port's mutex, if it is held.
    void letGo();
    /// The port's entry in the table. Throws PTP_GENERAL_ERROR if there is none.
    CameraPortEntry& entryOf(const std::string& port, const TableHold& hold) const;
    /// A copy of the port's entry, read under the table's mutex.
    CameraPortEntry copyOf(const std::string& port);

    UniqueHandle mutex;        // of the port whose turn this arbiter has; empty otherwise
    UniqueHandle formerMutex;  // the last one that was released; only kept open
    UniqueHandle tableMutex;
    SharedSection section;  // the table; closed until a call needs it
};

}  // namespace zlk
