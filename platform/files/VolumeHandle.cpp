#include "platform/files/VolumeHandle.h"

#include <fcntl.h>

#include <cerrno>
#include <cstring>
#include <vector>

#include "platform/base/PosixError.h"
#include "platform/device_io.h"
#include "platform/drives/DriveTable.h"
#include "platform/volumes.h"

namespace zlk::platform {
namespace {

constexpr BYTE scsiDisk = 0, scsiDisc = 5;  // device types
constexpr DWORD busUsb = 7;                 // reported for all drives

}  // namespace

std::shared_ptr<VolumeHandle> VolumeHandle::open(WCHAR letter) {
    const auto drive = findDrive(letter);
    if (!drive) {
        SetLastError(ERROR_FILE_NOT_FOUND);
        return nullptr;
    }
    Descriptor folder(drive->folder.empty()
                          ? -1
                          : ::open(drive->folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    auto volume = std::make_shared<VolumeHandle>(std::move(folder));
    volume->isVolume_ = true;
    volume->isDisc_ = drive->type == DRIVE_CDROM;
    volume->isRemovable_ = drive->type != DRIVE_FIXED;
    volume->vendor_ = drive->vendor;
    volume->product_ = drive->product;
    return volume;
}

bool VolumeHandle::flush() {
    if (!folder_) {
        SetLastError(ERROR_NOT_READY);
        return false;
    }
    // syncfs() on FAT hands all blocks to the disk and doesn't wait until they have left the disk's
    // own cache. An fsync() of any folder makes the disk empty that cache. Some file systems have
    // nothing to flush for a folder, which is no failure.
    if (::syncfs(folder_.get()) == 0 &&
        (::fsync(folder_.get()) == 0 || errno == EINVAL || errno == ENOTSUP))
        return true;
    setLastErrorFromErrno();
    return false;
}

bool VolumeHandle::control(DWORD code, const void* input, DWORD inputSize, void* output,
                           DWORD outputSize, DWORD& returned) {
    returned = 0;
    STORAGE_PROPERTY_QUERY query;
    if (!isVolume_ || code != IOCTL_STORAGE_QUERY_PROPERTY) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return false;
    }
    if (!input || inputSize != sizeof query) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return false;
    }
    std::memcpy(&query, input, sizeof query);
    if (query.PropertyId != 0 || query.QueryType != 0) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return false;
    }

    // The record is built before the room is checked, because its texts determine its size.
    std::vector<char> record(sizeof(STORAGE_DEVICE_DESCRIPTOR));
    const auto append = [&record](const std::string& text) {
        if (text.empty()) return DWORD{0};
        const auto offset = static_cast<DWORD>(record.size());
        record.insert(record.end(), text.c_str(), text.c_str() + text.size() + 1);
        return offset;
    };
    STORAGE_DEVICE_DESCRIPTOR head{};
    head.Version = sizeof head;
    head.DeviceType = isDisc_ ? scsiDisc : scsiDisk;
    head.RemovableMedia = isRemovable_;
    head.VendorIdOffset = append(vendor_);
    head.ProductIdOffset = append(product_);
    head.BusType = busUsb;
    head.Size = static_cast<DWORD>(record.size());
    std::memcpy(record.data(), &head, sizeof head);
    if (!output || outputSize < record.size()) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return false;
    }
    std::memcpy(output, record.data(), record.size());
    returned = head.Size;
    return true;
}

}  // namespace zlk::platform
