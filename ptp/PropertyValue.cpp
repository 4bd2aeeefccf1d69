#include "ptp/PropertyValue.h"

namespace zlk {

PropertyValue::PropertyValue(const PropertyValue& other)
    : value8(other.value8), value16(other.value16), value32(other.value32), text(other.text) {
    spread();
}

PropertyValue& PropertyValue::operator=(const PropertyValue& other) {
    value8 = other.value8;
    value16 = other.value16;
    value32 = other.value32;
    text.assign(other.text);
    spread();
    return *this;
}

void PropertyValue::spread() {
    if (value32 != 0) {
        value8 = value16 = value32;
    } else if (value16 != 0) {
        value8 = value32 = value16;
    } else if (value8 != 0) {
        value16 = value32 = value8;
    }
}

void PropertyValue::read(PtpDataStream& stream, std::uint16_t type) {
    switch (type) {
        case dataType::uint8:
            value8 = stream.readByte();
            break;
        case dataType::uint16:
            value16 = stream.readU16();
            break;
        case dataType::uint32:
            value32 = stream.readU32();
            break;
        case dataType::string:
            text.assign(stream.readString());
            break;
        default:
            break;
    }
}

void PropertyValue::write(PtpDataStream& stream, std::uint16_t type) const {
    switch (type) {
        case dataType::uint8:
            stream.writeByte(static_cast<std::uint8_t>(value8));
            break;
        case dataType::uint16:
            stream.writeU16(static_cast<std::uint16_t>(value16));
            break;
        case dataType::uint32:
            stream.writeU32(value32);
            break;
        case dataType::string:
            stream.writeString(text);
            break;
        default:
            break;
    }
}

}  // namespace zlk
