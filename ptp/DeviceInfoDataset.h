#pragma once
// The dataset in which a device describes itself.

#include <cstdint>
#include <vector>

#include "ptp/PtpDataStream.h"

namespace zlk {

/// What a device is and can do (ISO 15740, DeviceInfo). A text that the device leaves empty keeps
/// its default value here.
class DeviceInfoDataset {
  public:
    DeviceInfoDataset() = default;
    /// Parses the dataset at the stream's cursor. Texts may be missing at its end; if it is cut
    /// short elsewhere, PTP_GENERAL_ERROR is thrown.
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
