#include "transport/PtpSyncController.h"

#include <atomic>
#include <cstring>
#include <utility>

#include "foundation/TraceLine.h"
#include "platform/text.h"
#include "transport/PortText.h"

namespace zlk {
namespace {

constexpr char category[] = "PtpSyncController";

constexpr char tableName[] = "Global\\ZlPtpHandlesToCameras";
constexpr char tableMutexName[] = "Global\\ZlPtpTableMutex";
constexpr char portMutexPrefix[] = "Global\\ZlPtpDrvMutex";
// Both in bytes.
constexpr DWORD tableSize = 1024;
constexpr std::size_t longestPort = sizeof(CameraPortEntry::port) - 1;

/// Set by the first arbiter of the process, which leaves the table mapped until the process ends.
std::atomic<bool> sharedMemoryInitialised{false};

/// The name of a port's mutex ends with the last four characters of the port, by which the ports of
/// this driver family differ: `can0` for `\\.\Usbscan0`. A shorter port stands there as a whole.
std::string mutexNameOf(const std::string& port) {
    return portMutexPrefix + port.substr(port.size() > 4 ? port.size() - 4 : 0);
}

}  // namespace

/// Holds the table's mutex while it exists.
class PtpSyncController::TableHold {
  public:
    explicit TableHold(UniqueHandle& mutex) : mutex_(mutex) {
        if (!mutex_) mutex_ = UniqueHandle(CreateMutexA(nullptr, 0, tableMutexName));
        const DWORD result = mutex_ ? WaitForSingleObject(mutex_.get(), INFINITE) : WAIT_FAILED;
        if (result == WAIT_FAILED) throw PTP_GENERAL_ERROR;
        abandoned_ = result == WAIT_ABANDONED;
    }
    ~TableHold() { ReleaseMutex(mutex_.get()); }
    TableHold(const TableHold&) = delete;
    TableHold& operator=(const TableHold&) = delete;

    /// Whether the previous holder died while it held the mutex, perhaps in the middle of a change.
    bool abandoned() const noexcept { return abandoned_; }

  private:
    UniqueHandle& mutex_;
    bool abandoned_ = false;
};

PtpSyncController::PtpSyncController() {
    if (sharedMemoryInitialised) return;
    TraceLine(category, "Initializing Shared Memory");
    // Setting a port makes the table if it is missing.
    setPort(u"zero");
    section.keep();
    sharedMemoryInitialised = true;
}

PtpSyncController::~PtpSyncController() {
    cleanupMappedFile();
    letGo();
}

void PtpSyncController::cleanupMappedFile() {
    if (!section.view()) return;
    TraceLine(category, "cleanupMappedFile");
    section.close();
}

/// The handle of the released mutex is kept, since opening a mutex costs much less while this
/// process has another handle of it.
void PtpSyncController::letGo() {
    if (!mutex) return;
    ReleaseMutex(mutex.get());
    formerMutex = std::move(mutex);
}

void PtpSyncController::makeOrOpenTable() {
    if (section.open(tableName)) {
        TraceLine(category, "setPort - openFileMapping already open");
        return;
    }
    TraceLine(category, "setPort - openFileMapping creating map");
    // Another process may have made the section after the attempt to open it: programs that aren't
    // ours don't wait for the table's mutex. The section's entries then stay.
    if (section.make(tableName, tableSize)) Table(section, tableSize).setCount(0);
}

PtpSyncController::Table PtpSyncController::table(const TableHold& hold) const {
    Table entries(section, tableSize);
    if (hold.abandoned()) entries.resumeRemoval();
    return entries;
}

CameraPortEntry& PtpSyncController::entryOf(const std::string& port, const TableHold& hold) const {
    CameraPortEntry* const entry = table(hold).find(port);
    if (!entry) throw PTP_GENERAL_ERROR;
    return *entry;
}

CameraPortEntry PtpSyncController::copyOf(const std::string& port) {
    const TableHold hold(tableMutex);
    return entryOf(port, hold);
}

void PtpSyncController::setPort(const WCHAR* wide) {
    const std::string port = portText(wide, longestPort);
    cleanupMappedFile();
    const TableHold hold(tableMutex);
    makeOrOpenTable();
    Table entries = table(hold);
    const std::size_t count = entries.count();
    TraceLine(category, "setPort - NumberOfEntries(%d)", count);
    if (CameraPortEntry* const known = entries.find(port)) {
        const std::uint16_t references = known->refCount;
        TraceLine(category, "setPort - found port in map refcnt(%d)", references);
        known->refCount = static_cast<std::uint16_t>(references + 1);
        return;
    }
    if (count >= entries.capacity()) throw PTP_GENERAL_ERROR;
    CameraPortEntry fresh{};
    port.copy(fresh.port, longestPort);
    mutexNameOf(port).copy(fresh.mutexName, sizeof fresh.mutexName - 1);
    fresh.refCount = 1;
    // The count is stored after the entry is complete, so a process that dies here leaves a valid
    // table.
    entries.begin()[count] = fresh;
    entries.setCount(count + 1);
}

std::uint32_t PtpSyncController::getMutex(const WCHAR* wide) {
    const std::string port = portText(wide, longestPort);
    if (!section.open(tableName)) return 0;
    // The table's mutex isn't held while this thread waits for the port's mutex, perhaps for long.
    const CameraPortEntry entry = copyOf(port);
    const std::string name(entry.mutexName, strnlen(entry.mutexName, sizeof entry.mutexName));
    letGo();
    mutex = UniqueHandle(OpenMutexA(SYNCHRONIZE, 1, name.c_str()));
    if (!mutex) mutex = UniqueHandle(CreateMutexA(nullptr, 0, name.c_str()));
    // WAIT_ABANDONED counts as acquired: the holder died, and the turn passes on.
    if (!mutex || WaitForSingleObject(mutex.get(), INFINITE) == WAIT_FAILED) {
        TraceLine(category, "getMutex - ERROR (mutex is NULL) err(%d)", GetLastError());
        mutex.reset();
        throw PTP_GENERAL_ERROR;
    }
    try {
        // The entry is read anew, since another holder may have stored an id while this thread
        // waited.
        return copyOf(port).transactionID;
    } catch (PTPCommErrors) {
        // A caller whose getMutex() failed doesn't call releaseMutex().
        letGo();
        throw;
    }
}

void PtpSyncController::releaseMutex(const WCHAR* wide, std::uint32_t transactionId) {
    const std::string port = portText(wide, longestPort);
    if (!section.open(tableName)) return;
    {
        const TableHold hold(tableMutex);
        entryOf(port, hold).transactionID = transactionId;
    }
    letGo();
}

void PtpSyncController::removePort(const WCHAR* wide) {
    const std::string port = portText(wide, longestPort);
    if (!section.open(tableName)) return;
    const TableHold hold(tableMutex);
    Table entries = table(hold);
    TraceLine(category, "removePort NumberOfEntries(%d)", entries.count());
    CameraPortEntry* entry = entries.find(port);
    if (!entry) return;
    TraceLine(category, "removePort - found entry num%d", entry - entries.begin());
    if (const std::uint16_t references = entry->refCount; references > 1) {
        TraceLine(category, "removePort - reducing refCount(%d)", references);
        entry->refCount = static_cast<std::uint16_t>(references - 1);
        return;
    }
    TraceLine(category, "removePort removeItem");
    entries.remove(entry, [] { TraceLine(category, "removePort - move entry down"); });
    TraceLine(category, "removePort exit");
}

}  // namespace zlk
