#pragma once
#include <cstdint>
#include <vector>

#include "ptp/PtpDataStream.h"

namespace zlk {

/// What a device is and can do (ISO 15740, DeviceInfo). A text that the device leaves empty keeps
/// its default.
class DeviceInfoDataset {
  public:
    DeviceInfoDataset() = default;
    /// Parses at the cursor.
    explicit DeviceInfoDataset(PtpDataStream& stream);
    DeviceInfoDataset(const DeviceInfoDataset&) = default;
    virtual ~DeviceInfoDataset() = default;

    std::uint16_t StandardVersion = 1;
    std::uint32_t VendorExtensionID = 0;
    std::uint16_t VendorExtensionVersion = 0;
    std::uint16_t FunctionalMode = 0;
    wString VendorExtensionDesc{u"Zephyr-Lanthorn"};
    std::vector<std::uint16_t> OperationsSupported;
    std::vector<std::uint16_t> EventsSupported;
    std::vector<std::uint16_t> DevicePropertiesSupported;
    std::vector<std::uint16_t> CaptureFormats;
    std::vector<std::uint16_t> ImageFormats;
    wString Manufacturer{u"Zephyr-Lanthorn"};
    wString Model;
    wString DeviceVersion;
    wString SerialNumber;
};

}  // namespace zlk
