#pragma once
// The value of a device property.

#include <cstdint>

#include "ptp/PtpDataStream.h"

namespace zlk {

/// Data types that this stack supports. Values of other types are neither read nor sent.
namespace dataType {
inline constexpr std::uint16_t uint8 = 2, uint16 = 4, uint32 = 6, string = 0xFFFF;
}

/// A number or a text. A number is in the field that has the width of its type. Copying spreads the
/// widest field that isn't 0 over the other two, so that a copy can be read at any width. Assigning
/// a value with an empty text keeps the text that is there.
class PropertyValue {
  public:
    PropertyValue() = default;
    PropertyValue(const PropertyValue& other);
    PropertyValue& operator=(const PropertyValue& other);
    virtual ~PropertyValue() = default;

    /// Reads a value of this type at the cursor into the field of the type. Reads nothing for a
    /// type that isn't supported.
    void read(PtpDataStream& stream, std::uint16_t type);
    /// Writes the field of this type at the cursor; nothing for a type that isn't supported.
    void write(PtpDataStream& stream, std::uint16_t type) const;

    std::uint32_t value8 = 0;
    std::uint32_t value16 = 0;
    std::uint32_t value32 = 0;
    wString text;

  private:
    void spread();
};

}  // namespace zlk
