#pragma once
#include <cstdint>

#include "ptp/PtpDataStream.h"

namespace zlk {

/// One object of a device (ISO 15740, ObjectInfo); sizes in bytes.
class ObjectInfoDataset {
  public:
    ObjectInfoDataset() = default;
    /// Parses at the cursor.
    explicit ObjectInfoDataset(PtpDataStream& stream);
    ObjectInfoDataset(const ObjectInfoDataset&) = default;
    virtual ~ObjectInfoDataset() = default;

    /// At the cursor, as a device takes it.
    void write(PtpDataStream& stream) const;

    std::uint32_t StorageID = 0;
    std::uint16_t ObjectFormat = 0;
    std::uint16_t ProtectionStatus = 0;
    std::uint32_t ObjectCompressedSize = 0;
    std::uint16_t ThumbFormat = 0;
    std::uint32_t ThumbCompressedSize = 0;
    std::uint32_t ThumbPixWidth = 0;
    std::uint32_t ThumbPixHeight = 0;
    std::uint32_t ImagePixWidth = 0;
    std::uint32_t ImagePixHeight = 0;
    std::uint32_t ImageBitDepth = 0;
    std::uint32_t ParentObject = 0;
    std::uint16_t AssociationType = 0;
    std::uint32_t AssociationDesc = 0;
    std::uint32_t SequenceNumber = 0;
    wString Filename;
    wString CaptureDate;
    wString ModificationDate;
    wString Keywords;
};

}  // namespace zlk
