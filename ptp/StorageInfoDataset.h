#pragma once
// The dataset in which a device describes one of its storages.

#include <cstdint>

#include "ptp/PtpDataStream.h"

namespace zlk {

/// One storage of a device (ISO 15740, StorageInfo). Sizes are in bytes. If a device sends no
/// dataset, capacity and free space keep their default of 0xFFFFFFFF: they are unknown.
class StorageInfoDataset {
  public:
    StorageInfoDataset() = default;
    /// Parses the dataset at the stream's cursor. Texts may be missing at its end, and an empty or
    /// missing text keeps its default value. If the dataset is cut short elsewhere,
    /// PTP_GENERAL_ERROR is thrown.
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
