#pragma once
#include <cstdint>
#include <vector>

#include "ptp/PropertyValue.h"

namespace zlk {

/// A device property and what it can be set to (ISO 15740, DevicePropDesc). Of a data type that
/// the stack doesn't understand, only the first three fields are parsed.
class PropertyDataset {
  public:
    PropertyDataset() = default;
    /// Parses at the cursor.
    explicit PropertyDataset(PtpDataStream& stream);
    PropertyDataset(const PropertyDataset&) = default;
    virtual ~PropertyDataset() = default;

    std::uint16_t DevicePropertyCode = 0;
    std::uint16_t DataType = 0;
    std::uint8_t GetSet = 0;
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
