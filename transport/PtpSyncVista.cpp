#include "transport/PtpSyncVista.h"

#include <atomic>
#include <cstring>

#include "foundation/TraceLine.h"
#include "platform/text.h"
#include "transport/PortText.h"

namespace zlk {
namespace {

constexpr char category[] = "PtpSyncVista";

constexpr char tableName[] = "Global\\ZlPtpWPDHandlesToCameras";
constexpr char mutexPrefix[] = "Global\\ZlPtpWPDMutex";
constexpr DWORD tableSize = 4096;
constexpr std::size_t longestPort = 199;

}  // namespace

PtpSyncVista::~PtpSyncVista() {
    TraceLine(category, "~PtpSyncVista");
    letGo();
    // One view per process is enough to keep the section in existence; one for each arbiter would
    // use up the address space.
    static std::atomic_flag kept;
    if (section.view() && !kept.test_and_set()) section.keep();
}

void PtpSyncVista::letGo() {
    if (mutex) ReleaseMutex(mutex.get());
    mutex.reset();
}

PtpSyncVista::Table PtpSyncVista::table() const noexcept {
    return {section, tableSize};
}

DevicePathEntry& PtpSyncVista::entryOf(const std::string& port) {
    DevicePathEntry* const entry = section.open(tableName) ? table().find(port) : nullptr;
    if (!entry) throw PTP_GENERAL_ERROR;
    return *entry;
}

void PtpSyncVista::setPort(const WCHAR* wide) {
    TraceLine(category, "setPort");
    const std::string port = portText(wide, longestPort);
    if (!section.open(tableName)) return;
    TraceLine(category, "setPort - openFileMapping");
    const Table entries = table();
    TraceLine(category, "setPort - NumberOfEntries(%d)", entries.count());
    if (const DevicePathEntry* entry = entries.find(port))
        TraceLine(category, "setPort - found port in map index(%d)", entry - entries.begin());
}

wString PtpSyncVista::findPortbyVidPid(std::uint32_t vid, std::uint32_t pid) {
    TraceLine(category, "findPortbyVidPid vid(%x) pid(%x)", vid, pid);
    if (!section.open(tableName)) return {};
    for (const DevicePathEntry& entry : table())
        if (entry.vid == vid && entry.pid == pid)
            return wString(std::string(entry.port, strnlen(entry.port, sizeof entry.port)).c_str());
    return {};
}

std::uint32_t PtpSyncVista::getMutex(const WCHAR* wide) {
    TraceLine(category, "getMutex");
    const std::string port = portText(wide, longestPort);
    const std::string name = mutexPrefix + port;
    TraceLine(category, "makeMutexName");
    TraceLine(category, "%s", name);
    const DevicePathEntry& entry = entryOf(port);
    letGo();
    mutex = UniqueHandle(OpenMutexA(MUTEX_ALL_ACCESS, 1, name.c_str()));
    if (!mutex) {
        TraceLine(category, "getMutex - Creating Mutex");
        mutex = UniqueHandle(CreateMutexA(nullptr, 0, name.c_str()));
        if (mutex) {
            // This second handle is never closed, so a mutex that this process has made exists
            // until the process ends.
            (void)OpenMutexA(MUTEX_ALL_ACCESS, 1, name.c_str());
        } else {
            TraceLine(category, "CreateMutex - ERROR (mutex is NULL) err(%d)", GetLastError());
        }
    }
    if (!mutex) {
        TraceLine(category, "getMutex - ERROR (mutex is NULL) err(%d)", GetLastError());
        throw PTP_GENERAL_ERROR;
    }
    TraceLine(category, "getMutex - Wait for Mutex...");
    const DWORD result = WaitForSingleObject(mutex.get(), INFINITE);
    // WAIT_ABANDONED means that the last holder died; the turn is ours all the same.
    if (result == WAIT_OBJECT_0) {
        TraceLine(category, "getMutex - Got it");
    } else {
        TraceLine(category, "getMutex - error waiting for mutex(%d)", result);
        if (result == WAIT_FAILED) {
            mutex.reset();
            throw PTP_GENERAL_ERROR;
        }
    }
    return entry.transactionID;
}

void PtpSyncVista::releaseMutex(const WCHAR* wide, std::uint32_t transactionId) {
    TraceLine(category, "releaseMutex");
    const std::string port = portText(wide, longestPort);
    if (!section.open(tableName)) return;
    entryOf(port).transactionID = transactionId;
    letGo();
}

}  // namespace zlk
