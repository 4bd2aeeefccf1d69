// Walks over a camera's objects: one for the list of files, and one for the documents.

#include <algorithm>
#include <optional>

#include "camera_devices/CPTPCameraDev.h"
#include "camera_devices/DeviceOperation.h"
#include "camera_devices/FileInfoList.h"
#include "camera_devices/ObjectWalk.h"
#include "camera_devices/OtherMakersDriver.h"
#include "camera_devices/SpecialFiles.h"
#include "foundation/TraceLine.h"
#include "platform/clock.h"
#include "platform/system.h"

namespace zlk {
namespace {

constexpr char category[] = "CPTPCameraDev";

// The storage id that stands for all storages (ISO 15740).
constexpr std::uint32_t allStorages = 0xFFFFFFFF;

/// Reads a date `YYYYMMDDThhmmss`. Fields that are missing at its end count as 0. None if a field
/// is out of its range; years go from 1970 to 2037.
std::optional<FileTimestamp> readPtpDate(std::u16string_view text) {
    const auto field = [&](std::size_t place, std::size_t count) -> std::uint16_t {
        if (place >= text.size()) return 0;
        return static_cast<std::uint16_t>(_wtoi(std::u16string(text.substr(place, count)).c_str()));
    };
    const std::uint16_t year = field(0, 4), month = field(4, 2), hour = field(9, 2),
                        minute = field(11, 2), second = field(13, 2);
    std::uint16_t day = field(6, 2);
    // East of Greenwich, 1970-01-01 begins before second 0 of the time values. So the next day is
    // taken instead.
    if (year == 1970 && month == 1 && day == 1) day = 2;
    const bool valid = year >= 1970 && year <= 2037 && month >= 1 && month <= 12 && day >= 1 &&
                       day <= 31 && hour <= 23 && minute <= 59 && second <= 59;
    if (!valid) return std::nullopt;
    return FileTimestamp(_mktime64({second, minute, hour, day, month - 1, year - 1900}));
}

}  // namespace

std::uint32_t CPTPCameraDev::handleFromId(const std::u16string& id) {
    return static_cast<std::uint32_t>(_wtoi(id.c_str()));
}

FileTimestamp CPTPCameraDev::ptpDateToTime(std::u16string_view text) {
    return readPtpDate(text).value_or(FileTimestamp(_time64()));
}

DeviceCode CPTPCameraDev::GetFileInfo(FileInfoList& list, ObjectProgressInterface* progress) {
    return operationCode(DeviceCode::ReadFailed, [&] {
        // The order matters: without a connection the first test fails, so a listing never makes a
        // connection.
        if (!VerifyConnection() || !CheckConnection()) return DeviceCode::NotConnected;
        return GetFilesAndDirs(list, progress) ? DeviceCode::Success : DeviceCode::ReadFailed;
    });
}

bool CPTPCameraDev::GetFilesAndDirs(FileInfoList& list, ObjectProgressInterface* progress) {
    if (!VerifyConnection()) return false;
    dpofHandle = intentHandle = 0;
    try {
        const auto storages = ptp->getStorageIDs();
        TraceLine(category, "GetFilesAndDirs - storageIDs (%d)", storages.size());
        for (const std::uint32_t storage : storages) listStorage(storage, list, progress);
        if (progress) progress->reportProgress(100);
        return true;
    } catch (PTPCommErrors) {
        TraceLine(category, "GetFilesAndDirs - PTPCommErrors");
        return false;
    }
}

void CPTPCameraDev::listStorage(std::uint32_t storage, FileInfoList& list,
                                ObjectProgressInterface* progress) {
    // Some cameras refuse to list an empty storage.
    if (ptp->getNumberObjects(storage, 0, 0) == 0) return;
    ObjectWalk walk(*ptp, storage, 0, camInfo.isOtherMakers());
    TraceLine(category, "GetFilesAndDirs - handles (%d)", walk.total());
    std::int32_t percent = 0;
    while (const auto handle = walk.next()) {
        const auto done = static_cast<std::int32_t>(walk.given());
        TraceLine(category, "GetFilesAndDirs - GetObject %d", done - 1);
        try {
            const ObjectInfoDataset info = ptp->getObjectInfo(*handle);
            walk.described(*handle, info);
            listObject(*handle, info, list);
        } catch (PTPCommErrors failure) {
            // The maker's own models never refuse an object, so with them a refusal is a failure.
            if (!camInfo.isOtherMakers() || !isOfOneObject(failure)) throw;
            listRefused(*handle, failure, list);
        }
        // The walk may find that there is more to do, but progress must not go back.
        percent = std::max(percent, MulDiv(done, 100, static_cast<std::int32_t>(walk.total())));
        if (progress && !progress->reportProgress(percent)) throw PTP_TRANSACTION_CANCELLED;
    }
}

/// The object exists, so it gets a record, by which users learn that a file is missing.
void CPTPCameraDev::listRefused(std::uint32_t handle, PTPCommErrors why, FileInfoList& list) {
    TraceLine(category, "GetFilesAndDirs - object %d is refused (0x%x)", handle,
              static_cast<std::uint32_t>(why));
    const FileTimestamp now(_time64());
    list.addFile(formatText(u"%d", handle), formatText(u"DCIM\\object %d.refused", handle), u"", 0,
                 now, now, u"unknown", u"");
}

void CPTPCameraDev::listObject(std::uint32_t handle, const ObjectInfoDataset& info,
                               FileInfoList& list) {
    const std::u16string name(info.Filename.view());
    // All files are listed in a single folder, whatever folders the camera has.
    if (info.ObjectFormat != folderFormat)
        list.addFile(formatText(u"%d", handle), u"DCIM\\" + name, u"", info.ObjectCompressedSize,
                     ptpDateToTime(info.ModificationDate.view()),
                     ptpDateToTime(info.CaptureDate.view()), u"unknown", u"");
    if (equalIgnoringCase(name, specialFiles::printOrder)) {
        dpofHandle = handle;
        TraceLine(category, "GetFilesAndDirs - Found DPOF file");
    } else if (equalIgnoringCase(name, specialFiles::intent)) {
        intentHandle = handle;
        TraceLine(category, "GetFilesAndDirs - Found Intent file");
    }
}

bool CPTPCameraDev::EnumXMLFiles() {
    if (shareBlocked()) return true;
    if (!VerifyConnection()) return false;
    deviceIdHandle = diagnosticHandle = shareRequestHandle = shareOldHandle = tagRequestHandle =
        tagOldHandle = menuFolderHandle = 0;
    try {
        for (const std::uint32_t handle :
             ptp->getObjectHandles(allStorages, specialFiles::scriptFormat, 0))
            LookForShareMenuFiles(handle, ptp->getObjectInfo(handle));
        return true;
    } catch (PTPCommErrors) {
        TraceLine(category, "EnumXMLFiles - PTPCommErrors");
        return false;
    }
}

void CPTPCameraDev::LookForShareMenuFiles(std::uint32_t handle, const ObjectInfoDataset& info) {
    /// A document that the walk looks for. New menus and tag lists are sent to the folder of a
    /// document with `isMenu`.
    struct Kind {
        const WCHAR* name;
        HandleField handle;
        const char* traced;
        bool isMenu = false;
    };
    static constexpr Kind kinds[] = {
        {specialFiles::shareRequest, &CPTPCameraDev::shareRequestHandle, "ShareReq"},
        {specialFiles::tagRequest, &CPTPCameraDev::tagRequestHandle, "TagReq"},
        {specialFiles::shareOld, &CPTPCameraDev::shareOldHandle, "ShareOld", true},
        {specialFiles::tagOld, &CPTPCameraDev::tagOldHandle, "TagOld", true},
        {specialFiles::deviceId, &CPTPCameraDev::deviceIdHandle, "CameraId"},
        {specialFiles::diagnostics, &CPTPCameraDev::diagnosticHandle, "Camera Diagnostic"},
    };
    for (const Kind& kind : kinds) {
        if (!equalIgnoringCase(info.Filename.view(), kind.name)) continue;
        this->*kind.handle = handle;
        if (kind.isMenu) menuFolderHandle = info.ParentObject;
        TraceLine(category, "LookForShareMenuFiles - Found %s file", kind.traced);
        return;
    }
}

}  // namespace zlk
