#include "camera_devices/CMassStorageDev.h"

#include <algorithm>
#include <memory>
#include <optional>

#include "camera_devices/DeviceOperation.h"
#include "camera_devices/VolumeUtils.h"
#include "directory/CDeviceUtilFunctions.h"
#include "directory/CSupportedCameraList.h"
#include "foundation/Paths.h"
#include "foundation/TraceLine.h"
#include "platform/clock.h"
#include "platform/files.h"
#include "platform/text.h"
#include "platform/volumes.h"

namespace zlk {
namespace {

constexpr char category[] = "CMassStorageDev";

// Milliseconds before each pass: a card that has just been inserted needs a moment until its files
// are there.
constexpr DWORD settlingTime = 1000;
constexpr std::int32_t defaultPasses = 10;
constexpr std::int32_t maximumPasses = 600;  // limits the waiting, whatever the settings say

// Units. The limit bounds the recursion on a malicious card.
constexpr std::size_t longestPath = 4096;

/// The time value; 0 for a local time before 1900. None for a time that can't be converted.
std::optional<FileTimestamp> toFileTimestamp(const FILETIME& fileTime) {
    FILETIME local;
    SYSTEMTIME parts;
    if (!FileTimeToLocalFileTime(&fileTime, &local) || !FileTimeToSystemTime(&local, &parts))
        return std::nullopt;
    if (parts.wYear < 1900) return FileTimestamp(0);  // the time was never set
    const BrokenDownTime moment{parts.wSecond, parts.wMinute,    parts.wHour,
                                parts.wDay,    parts.wMonth - 1, parts.wYear - 1900};
    const std::int64_t seconds = _mktime64(moment);
    if (seconds == -1) return std::nullopt;
    return FileTimestamp(seconds);
}

FileTimestamp currentTime() {
    FILETIME now;
    GetSystemTimeAsFileTime(&now);
    return toFileTimestamp(now).value_or(FileTimestamp());
}

}  // namespace

CMassStorageDev::CMassStorageDev(std::u16string lowLevelId, std::u16string id)
    : rootPath(joinPath(lowLevelId, u"")), contextId(std::move(id)) {
    TraceLine(category, "devPath(%s)", rootPath);
    // Network paths begin with two backslashes; anything else is a drive.
    if (lowLevelId.starts_with(u"\\\\")) {
        uncPath = rootPath;
    } else if (!lowLevelId.empty()) {
        driveRoot = {upperCase(lowLevelId[0]), u':', u'\\'};
    }
    // A table built anew also has the rows that were added after GetCameraList() built its own.
    camInfo = CSupportedCameraList().FindByContextId(contextId);
    CDeviceUtilFunctions settings;
    checkMediaMethod = settings.ContextIdToCheckMediaMethod(contextId);
    const auto passes = static_cast<std::int32_t>(settings.ContextIdToFileEnumTimeout(contextId));
    enumTimeout = passes > 0 ? std::min(passes, maximumPasses) : defaultPasses;
    thumbnails.emplace();
}

CMassStorageDev::~CMassStorageDev() {
    if (wroteToVolume && !driveRoot.empty()) FlushDrive(driveRoot[0]);
}

bool CMassStorageDev::CheckConnection() {
    TraceLine(category, "CheckConnection ()");
    if (!uncPath.empty()) return CheckConnectionUNC();
    if (driveRoot.empty()) return false;
    TraceLine(category, "CheckConnection - DriveLetter(%s)", driveRoot);
    switch (GetDriveTypeW(driveRoot.c_str())) {
        case DRIVE_REMOVABLE:
        case DRIVE_FIXED:
        case DRIVE_REMOTE:
        case DRIVE_CDROM:
            TraceLine(category, "CheckConnection () - Pass");
            return true;
        default:
            TraceLine(category, "CheckConnection () - Failed - (%s) GetDriveType", driveRoot);
            return false;
    }
}

bool CMassStorageDev::CheckConnectionUNC() {
    TraceLine(category, "CheckConnectionUNC ()");
    const DWORD attributes = GetFileAttributesW(uncPath.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
        TraceLine(category, "CheckConnectionUNC - ERROR_PATH_NOT_FOUND");
        return false;
    }
    if (attributes & FILE_ATTRIBUTE_DIRECTORY) {
        TraceLine(category, "CheckConnectionUNC - true");
        return true;
    }
    TraceLine(category, "CheckConnectionUNC - attr(%x)", attributes);
    return false;
}

bool CMassStorageDev::IsCardInserted(bool& inserted) {
    inserted = operationAnswer([&] {
        // The settings may say that the card reader component has to be asked.
        if (equalIgnoringCase(checkMediaMethod, u"AIO")) return AIO_IsCardInserted();
        if (!uncPath.empty()) {
            const DWORD attributes = GetFileAttributesW(uncPath.c_str());
            return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY);
        }
        TraceLine(category, "IsCardInserted");
        return !driveRoot.empty() && GetVolumeInformationW(driveRoot.c_str(), nullptr, 0, nullptr,
                                                           nullptr, nullptr, nullptr, 0);
    });
    return true;
}

bool CMassStorageDev::AIO_IsCardInserted() {
    TraceLine(category, "AIO_IsCardInserted");
    if (!aioDevice) {
        if (FAILED(aioDevice.create(cardReaderProgId))) {
            TraceLine(category, "AIO_IsCardInserted - failed CoCreateInstance");
            return false;
        }
        if (FAILED(aioDevice->put_ContextID(Bstr(contextId).get()))) {
            TraceLine(category, "AIO_IsCardInserted - failed put_ContextID");
            return false;
        }
    }
    LONG value = 0;
    const HRESULT result = aioDevice->get_oidInteger(cardStateOid, &value);
    if (FAILED(result)) {
        TraceLine(category, "AIO_IsCardInserted - cueId(%s)", contextId);
        TraceLine(category, "AIO_IsCardInserted - failed get_oidInteger hr(%X)", result);
        return false;
    }
    TraceLine(category, "AIO_IsCardInserted (%s)", value == cardInserted ? "True" : "False");
    return value == cardInserted;
}

bool CMassStorageDev::SetRecursion(bool enabled) {
    recurse = enabled;
    return true;
}

DeviceCode CMassStorageDev::GetFileInfo(FileInfoList& list, ObjectProgressInterface* progress) {
    return operationCode(DeviceCode::ReadFailed, [&] {
        if (!CheckConnection()) return DeviceCode::NotConnected;
        for (std::int32_t pass = 0;; ++pass) {
            fileCount = 0;
            cancelled = false;
            Sleep(settlingTime);
            RecurseFolders(rootPath, list, progress);
            // This ends the passes after a stop, too: only the report of a file can ask for a stop.
            if (fileCount != 0 || pass >= enumTimeout) break;
        }
        if (progress) progress->reportProgress(100);
        return DeviceCode::Success;
    });
}

void CMassStorageDev::RecurseFolders(const std::u16string& path, FileInfoList& list,
                                     ObjectProgressInterface* progress) {
    TraceLine(category, "RecurseFolders %s", path);
    if (path.size() > longestPath) return;
    const auto entry = std::make_unique<WIN32_FIND_DATAW>();  // too large for a deep stack
    const UniqueWalk walk = startWalk(path + u"\\*.*", *entry);
    if (!walk) return;  // a folder that can't be read counts as empty
    do {
        const std::u16string_view name = entry->cFileName;
        if (name == u"." || name == u"..") continue;
        const std::u16string full = (path + u'\\').append(name);
        if (entry->dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
            if (recurse) RecurseFolders(full, list, progress);
        } else if (!(entry->dwFileAttributes & FILE_ATTRIBUTE_HIDDEN)) {
            TraceLine(category, "Found File (%s)", full);
            addRecord(full, *entry, list);
            reportFile(progress);
        }
    } while (!cancelled && FindNextFileW(walk.get(), entry.get()));
    TraceLine(category, "RecurseFolders exit");
}

void CMassStorageDev::addRecord(const std::u16string& path, const WIN32_FIND_DATAW& entry,
                                FileInfoList& list) {
    const auto lastWrite = toFileTimestamp(entry.ftLastWriteTime);
    if (!lastWrite) TraceLine(category, "Using default ModTime");
    // If the time of the last change can't be converted, the present time takes its place. If the
    // creation time can't be converted, the time of the last change takes its place.
    const FileTimestamp modified = lastWrite ? *lastWrite : currentTime();
    const auto creation = toFileTimestamp(entry.ftCreationTime);
    if (!creation) TraceLine(category, "Using default CreateTime");
    list.addFile(path, joinPath(dirPart(path), fileNamePart(path)), u"", entry.nFileSizeLow,
                 modified, creation.value_or(modified), u"unknown", u"");
}

void CMassStorageDev::reportFile(ObjectProgressInterface* progress) {
    // The total isn't known during the walk, so each file counts as one percent, up to 99.
    const std::int32_t percent = std::min(fileCount, 99);
    if (fileCount < 100) ++fileCount;
    if (progress && !progress->reportProgress(percent)) cancelled = true;
}

}  // namespace zlk
