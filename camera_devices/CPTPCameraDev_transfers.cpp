#include <algorithm>

#include "camera_devices/CPTPCameraDev.h"
#include "camera_devices/DeviceOperation.h"
#include "camera_devices/PcFile.h"
#include "camera_devices/StockThumbnail.h"
#include "foundation/TraceLine.h"

namespace zlk {
namespace {

constexpr char category[] = "CPTPCameraDev";

constexpr std::uint32_t largestPiece = 20 << 20;   // an object above is copied in chunks
constexpr std::uint32_t chunkSize = 0x40000;       // also how soon a stop takes effect
constexpr std::uint32_t largestWhole = 255 << 20;  // of a camera that gives no chunks
constexpr std::uint32_t largestThumbnail = 16 << 20;

}  // namespace

DeviceCode CPTPCameraDev::GetFile(std::u16string id, ObjectProgressInterface* progress,
                                  HANDLE target) {
    return operationCode(DeviceCode::ReadFailed, [&] {
        const std::uint32_t handle = handleFromId(id);
        TraceLine(category, "GetFile (%d)", handle);
        if (!VerifyConnection()) return DeviceCode::NotConnected;
        const std::uint32_t size = ptp->getObjectInfo(handle).ObjectCompressedSize;
        // Without its description nobody knows that it is empty.
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
    // Of a picture that isn't what its description says, nobody knows whether it is whole.
    if (ptp->receivedData() != size) return DeviceCode::ReadFailed;
    return writePcFile(target, {picture.data(), size});
}

/// Whether a camera of another maker, which need not know the operation, gives no pieces.
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
    // The first piece is asked for twice, since not all cameras give a good answer at once to the
    // first partial read of an object.
    if (refusesPieces(handle, buffer.get())) {
        if (size > largestWhole) return DeviceCode::NotSupported;
        const DeviceCode code = copyInOnePiece(handle, size, progress, target);
        picture = {};  // so much isn't kept for the next
        return code;
    }
    bool stopped = false;
    for (std::uint32_t done = 0; done < size && !stopped;) {
        const std::uint32_t due = std::min(size - done, chunkSize);
        // Always for a whole chunk: cameras cut the last one by themselves.
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

/// Whether all of it is in `buffer`.
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
        // This model is done with a deletion only when it has told of it, and is not to be asked
        // anything before. One that stays silent is given up by the driver, and has deleted too.
        if (camInfo.Model == u"476") ptp->getEvent();
        return DeviceCode::Success;
    });
}

}  // namespace zlk
