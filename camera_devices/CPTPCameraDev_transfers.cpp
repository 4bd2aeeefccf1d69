// Copies files from a PTP camera, deletes files on it, and fetches thumbnails.

#include <algorithm>

#include "camera_devices/CPTPCameraDev.h"
#include "camera_devices/DeviceOperation.h"
#include "camera_devices/PcFile.h"
#include "camera_devices/StockThumbnail.h"
#include "foundation/TraceLine.h"

namespace zlk {
namespace {

constexpr char category[] = "CPTPCameraDev";

constexpr std::uint32_t largestPiece = 20 << 20;   // bytes; a larger object is copied in chunks
constexpr std::uint32_t chunkSize = 0x40000;       // bytes; a stop comes after a whole chunk
constexpr std::uint32_t largestWhole = 255 << 20;  // bytes, from a camera without partial reads
constexpr std::uint32_t largestThumbnail = 16 << 20;

}  // namespace

DeviceCode CPTPCameraDev::GetFile(std::u16string id, ObjectProgressInterface* progress,
                                  HANDLE target) {
    return operationCode(DeviceCode::ReadFailed, [&] {
        const std::uint32_t handle = handleFromId(id);
        TraceLine(category, "GetFile (%d)", handle);
        if (!VerifyConnection()) return DeviceCode::NotConnected;
        const std::uint32_t size = ptp->getObjectInfo(handle).ObjectCompressedSize;
        // A camera that sends no description hasn't said that the file is empty.
        if (ptp->receivedData() == 0) return DeviceCode::ReadFailed;
        if (size == 0) return DeviceCode::Success;
        if (size > largestPiece) return GetLargeFile(id, progress, target);
        const DeviceCode code = copyInOnePiece(handle, size, progress, target);
        TraceLine(category, "GetFile (%d) Exit", handle);
        return code;
    });
}

DeviceCode CPTPCameraDev::copyInOnePiece(std::uint32_t handle, std::uint32_t size,
                                         ObjectProgressInterface* progress, HANDLE target) {
    if (picture.size() < size) picture.resize(size);
    TraceLine(category, "GetPhotoData (%d) StartTransfer", handle);
    ptp->getObject(handle, picture.data(), size, progress);
    TraceLine(category, "GetPhotoData (%d) EndTransfer", handle);
    // If the picture isn't as large as its description says, it may be incomplete.
    if (ptp->receivedData() != size) return DeviceCode::ReadFailed;
    return writePcFile(target, {picture.data(), size});
}

/// Only cameras of other makers may lack partial reads. From any other, a refusal is a failure.
bool CPTPCameraDev::refusesPieces(std::uint32_t handle, BYTE* piece) {
    try {
        ptp->getPartialObject(handle, 0, chunkSize, piece);
        return false;
    } catch (PTPCommErrors refusal) {
        if (!camInfo.isOtherMakers() || refusal != PTP_OPERATION_NOT_SUPPORTED) throw;
        return true;
    }
}

DeviceCode CPTPCameraDev::GetLargeFile(const std::u16string& id, ObjectProgressInterface* progress,
                                       HANDLE target) {
    const std::uint32_t handle = handleFromId(id);
    TraceLine(category, "GetLargeFile (%d)", handle);
    if (!VerifyConnection()) return DeviceCode::NotConnected;
    const std::uint32_t size = ptp->getObjectInfo(handle).ObjectCompressedSize;
    if (ptp->receivedData() == 0) return DeviceCode::ReadFailed;
    if (size == 0) return DeviceCode::Success;
    const auto buffer = std::make_unique_for_overwrite<BYTE[]>(chunkSize);
    // The first chunk is read twice, since the first partial read of an object is answered wrongly
    // by some cameras.
    if (refusesPieces(handle, buffer.get())) {
        if (size > largestWhole) return DeviceCode::NotSupported;
        const DeviceCode code = copyInOnePiece(handle, size, progress, target);
        picture = {};  // too much memory to be kept for the next file
        return code;
    }
    bool stopped = false;
    for (std::uint32_t done = 0; done < size && !stopped;) {
        const std::uint32_t due = std::min(size - done, chunkSize);
        // A whole chunk is requested each time: cameras shorten the last one by themselves.
        if (ptp->getPartialObject(handle, done, chunkSize, buffer.get()) != due)
            return DeviceCode::ReadFailed;
        done += due;
        stopped = progress && !progress->reportProgress(percentOf(done, size));
        const DeviceCode code = writePcFile(target, {buffer.get(), due});
        if (code != DeviceCode::Success) return code;
    }
    TraceLine(category, "GetLargeFile (%d) Exit", handle);
    return DeviceCode::Success;
}

DeviceCode CPTPCameraDev::GetThumbnail(std::u16string id, std::u16string fileName) {
    return operationCode(DeviceCode::ReadFailed, [&] {
        const std::uint32_t handle = handleFromId(id);
        TraceLine(category, "GetThumbnail (%d)", handle);
        if (!VerifyConnection()) return DeviceCode::NotConnected;
        const ObjectInfoDataset info = ptp->getObjectInfo(handle);
        const std::u16string name(info.Filename.view());
        const std::uint32_t size = info.ThumbCompressedSize;
        if (size == 0) {
            TraceLine(category, "GetThumbnail - file size is zero");
            return GetStockThumbnail(name, fileName);
        }
        if (size > largestThumbnail) return DeviceCode::OutOfMemory;
        const auto buffer = std::make_unique_for_overwrite<BYTE[]>(size);
        if (!fetchThumbnail(handle, buffer.get(), size)) {
            TraceLine(category, "Problem getting PTP thumbnail for %s", fileName);
            return GetStockThumbnail(name, fileName);
        }
        const UniqueHandle file = createPcFile(fileName);
        if (!file) return DeviceCode::PcFileUnusable;
        const DeviceCode code = writePcFile(file.get(), {buffer.get(), size});
        TraceLine(category, "GetThumbnail (%d) Exit", handle);
        return code;
    });
}

/// Returns whether `buffer` has all of the thumbnail.
bool CPTPCameraDev::fetchThumbnail(std::uint32_t handle, BYTE* buffer, std::uint32_t size) {
    try {
        TraceLine(category, "GetThumbnail (%d) StartTransfer", handle);
        ptp->getThumb(handle, buffer, size);
        TraceLine(category, "GetThumbnail (%d) EndTransfer", handle);
        return ptp->receivedData() >= size;
    } catch (PTPCommErrors) {
        return false;
    }
}

DeviceCode CPTPCameraDev::DeleteFile(std::u16string id) {
    return DeleteFile(handleFromId(id));
}

DeviceCode CPTPCameraDev::DeleteFile(std::uint32_t handle) {
    return operationCode(DeviceCode::DeleteRefused, [&] {
        TraceLine(category, "DeleteFile (%d)", handle);
        if (!VerifyConnection()) return DeviceCode::NotConnected;
        ptp->deleteObject(handle, 0);
        // This model sends an event when it has completed a deletion, and must not be asked
        // anything before. If no event comes before the driver's time-out, the deletion counts all
        // the same.
        if (camInfo.Model == u"476") ptp->getEvent();
        return DeviceCode::Success;
    });
}

}  // namespace zlk
