// The operations on device properties: the clock, which can be set, and the battery level.

#include <algorithm>
#include <ctime>

#include "tools/zlkcamsim/Dataset.h"
#include "tools/zlkcamsim/PtpDate.h"
#include "tools/zlkcamsim/Responder.h"

namespace zlk::camsim {
namespace {

// The battery never changes; a test only needs a value that can be read.
constexpr std::uint8_t batteryLevel = 80;
constexpr std::uint16_t typeU8 = 0x0002, typeText = 0xFFFF;
constexpr std::uint8_t readOnly = 0, readWrite = 1;
constexpr std::uint8_t noForm = 0, rangeForm = 1;

}  // namespace

std::vector<Code> Responder::propertyCodes() const {
    if (!traits_.hasClock) return {property::BatteryLevel};
    return {property::BatteryLevel, property::DateTime};
}

bool Responder::hasProperty(std::uint32_t code) const {
    const std::vector<Code> codes = propertyCodes();
    return std::find(codes.begin(), codes.end(), code) != codes.end();
}

Reply Responder::getDevicePropDesc(const Message& command) {
    if (!hasProperty(command.parameter(0))) return failure(response::DevicePropNotSupported);
    DatasetWriter description;
    description.u16(static_cast<Code>(command.parameter(0)));
    if (command.parameter(0) == property::BatteryLevel) {
        // Default and current value, then the range from 0 to 100 in steps of 1.
        description.u16(typeU8).u8(readOnly).u8(100).u8(batteryLevel);
        description.u8(rangeForm).u8(0).u8(100).u8(1);
    } else {
        description.u16(typeText).u8(readWrite).text(u"20060101T000000");
        description.text(ptpDate(std::time(nullptr) + clockOffset_)).u8(noForm);
    }
    return answer(description.take());
}

Reply Responder::getDevicePropValue(const Message& command) {
    if (!hasProperty(command.parameter(0))) return failure(response::DevicePropNotSupported);
    DatasetWriter value;
    if (command.parameter(0) == property::BatteryLevel)
        value.u8(batteryLevel);
    else
        value.text(ptpDate(std::time(nullptr) + clockOffset_));
    return answer(value.take());
}

Reply Responder::setDevicePropValue(const Message& command) {
    if (!hasProperty(command.parameter(0))) return failure(response::DevicePropNotSupported);
    if (command.parameter(0) == property::BatteryLevel) return failure(response::AccessDenied);
    // The data phase has to be one text that begins with a date, and nothing else.
    DatasetReader value(received_->bytes());
    const auto time = timeOfPtpDate(value.text());
    if (!time || !value.complete()) return failure(response::InvalidDevicePropValue);
    // The clock keeps running, so its distance from this machine's clock is stored.
    clockOffset_ = *time - std::time(nullptr);
    return {};
}

Reply Responder::resetDevicePropValue(const Message& command) {
    if (command.parameter(0) == property::BatteryLevel) return failure(response::AccessDenied);
    if (!hasProperty(command.parameter(0)) && command.parameter(0) != everything)
        return failure(response::DevicePropNotSupported);
    clockOffset_ = 0;
    return {};
}

}  // namespace zlk::camsim
