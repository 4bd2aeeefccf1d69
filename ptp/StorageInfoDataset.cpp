#include "ptp/StorageInfoDataset.h"

namespace zlk {

StorageInfoDataset::StorageInfoDataset(PtpDataStream& stream) {
    StorageType = stream.readU16();
    FilesystemType = stream.readU16();
    AccessCapability = stream.readU16();
    MaxCapacity = stream.readU64();
    FreeSpaceInBytes = stream.readU64();
    FreeSpaceInImages = stream.readU32();
    StorageDescription.assign(stream.readString());
    VolumeLabel.assign(stream.readString());
}

}  // namespace zlk
