#pragma once
// The dataset in which a device describes one of its files or folders.

#include <cstdint>

#include "ptp/PtpDataStream.h"

namespace zlk {

/// One object of a device (ISO 15740, ObjectInfo). The compressed sizes are in bytes. Dates are
/// kept as the device sends them; in the standard's form they begin with YYYYMMDDThhmmss.
class ObjectInfoDataset {
  public:
    ObjectInfoDataset() = default;
    /// Parses the dataset at the stream's cursor. Texts may be missing at its end, and are then
    /// empty; if it is cut short elsewhere, PTP_GENERAL_ERROR is thrown.
    explicit ObjectInfoDataset(PtpDataStream& stream);
    ObjectInfoDataset(const ObjectInfoDataset&) = default;
    virtual ~ObjectInfoDataset() = default;

    /// Writes the dataset at the stream's cursor, in the form in which it is parsed. Throws what
    /// the stream throws, for example PTP_GENERAL_ERROR for a text of more than 254 units.
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
    std::uint32_t ParentObject = 0;  ///< handle of the folder; 0 for the root
    std::uint16_t AssociationType = 0;
    std::uint32_t AssociationDesc = 0;
    std::uint32_t SequenceNumber = 0;
    wString Filename;
    wString CaptureDate;
    wString ModificationDate;
    wString Keywords;
};

}  // namespace zlk
