#pragma once
#include <cstdint>

#include "ptp/PtpDataStream.h"

namespace zlk {

/// One storage of a device (ISO 15740, StorageInfo). Sizes are in bytes; callers know their
/// defaults, which have 32 bits set in all fields, as "not told".
class StorageInfoDataset {
  public:
    StorageInfoDataset() = default;
    /// Parses at the cursor.
    explicit StorageInfoDataset(PtpDataStream& stream);
    StorageInfoDataset(const StorageInfoDataset&) = default;
    virtual ~StorageInfoDataset() = default;

    std::uint16_t StorageType = 2;
    std::uint16_t FilesystemType = 2;
    std::uint16_t AccessCapability = 0;
    std::uint64_t MaxCapacity = 0xFFFFFFFF;
    std::uint64_t FreeSpaceInBytes = 0xFFFFFFFF;
    std::uint32_t FreeSpaceInImages = 0xFFFFFFFF;
    wString StorageDescription{u"Unknown memory type"};
    wString VolumeLabel{u"Vol1"};
};

}  // namespace zlk
