#include "ptp/PropertyDataset.h"

namespace zlk {
namespace {

constexpr std::uint8_t range = 1;
constexpr std::uint8_t enumeration = 2;

bool isUnderstood(std::uint16_t type) {
    return type == dataType::uint8 || type == dataType::uint16 || type == dataType::uint32 ||
           type == dataType::string;
}

}  // namespace

PropertyDataset::PropertyDataset(PtpDataStream& stream) {
    DevicePropertyCode = stream.readU16();
    DataType = stream.readU16();
    GetSet = stream.readByte();
    if (!isUnderstood(DataType)) return;
    FactoryDefaultValue.read(stream, DataType);
    CurrentValue.read(stream, DataType);
    FormFlag = stream.readByte();
    if (FormFlag == range) {
        MinimumValue.read(stream, DataType);
        MaximumValue.read(stream, DataType);
        StepSize.read(stream, DataType);
    } else if (FormFlag == enumeration) {
        NumberOfValues = stream.readU16();
        for (std::uint16_t i = 0; i < NumberOfValues; ++i) {
            PropertyValue value;
            value.read(stream, DataType);
            EnumValues.push_back(value);  // the copy can be read at any width
        }
    }
}

}  // namespace zlk
