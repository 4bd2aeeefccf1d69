#pragma once
// The dataset in which a device describes one of its properties.

#include <cstdint>
#include <vector>

#include "ptp/PropertyValue.h"

namespace zlk {

/// A device property and the values that it can have (ISO 15740, DevicePropDesc). If the data type
/// is one that PropertyValue doesn't support, only the first three fields are parsed.
class PropertyDataset {
  public:
    PropertyDataset() = default;
    /// Parses the dataset at the stream's cursor. Texts may be missing at its end, and are then
    /// empty; if it is cut short elsewhere, PTP_GENERAL_ERROR is thrown.
    explicit PropertyDataset(PtpDataStream& stream);
    PropertyDataset(const PropertyDataset&) = default;
    virtual ~PropertyDataset() = default;

    std::uint16_t DevicePropertyCode = 0;
    std::uint16_t DataType = 0;  ///< one of namespace dataType, or one that isn't supported
    std::uint8_t GetSet = 0;     ///< 1: the property can be set
    PropertyValue FactoryDefaultValue;
    PropertyValue CurrentValue;
    std::uint8_t FormFlag = 0;  ///< 1: a range; 2: an enumeration
    PropertyValue MinimumValue;
    PropertyValue MaximumValue;
    PropertyValue StepSize;
    std::uint16_t NumberOfValues = 0;
    std::vector<PropertyValue> EnumValues;
};

}  // namespace zlk
