#pragma once
#include <cstdint>

#include "ptp/PtpDataStream.h"

namespace zlk {

/// The data types of properties that the stack understands; of any other nothing is read or sent.
namespace dataType {
inline constexpr std::uint16_t uint8 = 2, uint16 = 4, uint32 = 6, string = 0xFFFF;
}

/// A value of a device property. A copy can be read at any width: it spreads the widest number
/// that isn't 0 over the other two.
class PropertyValue {
  public:
    PropertyValue() = default;
    PropertyValue(const PropertyValue& other);
    PropertyValue& operator=(const PropertyValue& other);
    virtual ~PropertyValue() = default;

    /// Reads one value of that type at the cursor into its field.
    void read(PtpDataStream& stream, std::uint16_t type);
    /// Writes it at the cursor; nothing for a type that isn't understood.
    void write(PtpDataStream& stream, std::uint16_t type) const;

    std::uint32_t value8 = 0;
    std::uint32_t value16 = 0;
    std::uint32_t value32 = 0;
    wString text;

  private:
    void spread();
};

}  // namespace zlk
