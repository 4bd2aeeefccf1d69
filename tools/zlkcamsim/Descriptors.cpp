#include "tools/zlkcamsim/Descriptors.h"

#include "platform/text.h"

namespace zlk::camsim {
namespace {

constexpr std::uint8_t deviceType = 1, configurationType = 2, stringType = 3, interfaceType = 4,
                       endpointType = 5, bulk = 2, interrupt = 3;
constexpr std::uint16_t usEnglish = 0x0409;

Bytes bytesOf(std::initializer_list<unsigned> values) {
    Bytes bytes;
    for (const unsigned value : values) bytes.push_back(static_cast<std::byte>(value));
    return bytes;
}

void appendEndpoint(Bytes& to, std::uint8_t address, std::uint8_t kind, std::uint16_t packetSize,
                    std::uint8_t interval) {
    for (const unsigned value : {7u, unsigned{endpointType}, unsigned{address}, unsigned{kind}})
        appendNumber(to, value, 1);
    appendNumber(to, packetSize, 2);
    appendNumber(to, interval, 1);
}

}  // namespace

Bytes deviceDescriptorOf(const Identity& identity, std::uint16_t bulkPacketSize) {
    // Bulk packets of 1024 bytes mean SuperSpeed, where the size of control packets is given as an
    // exponent: 9 stands for 512.
    const bool superSpeed = bulkPacketSize == 1024;
    Bytes bytes = bytesOf({18, deviceType});
    appendNumber(bytes, superSpeed ? 0x0300 : 0x0200, 2);
    for (const unsigned value : {0u, 0u, 0u, superSpeed ? 9u : 64u}) appendNumber(bytes, value, 1);
    appendNumber(bytes, identity.vid, 2);
    appendNumber(bytes, identity.pid, 2);
    appendNumber(bytes, 0x0100, 2);
    // Indices of the three strings, and one configuration.
    for (const unsigned value : {1u, 2u, 3u, 1u}) appendNumber(bytes, value, 1);
    return bytes;
}

Bytes configurationDescriptorOf(std::uint16_t bulkPacketSize) {
    constexpr unsigned totalLength = 9 + 9 + 3 * 7, selfPowered = 0xC0, halfAnAmpere = 250;
    // The interface has three endpoints and class 6, subclass 1, protocol 1: still image.
    Bytes bytes = bytesOf({9, configurationType, totalLength, 0, 1, 1, 0, selfPowered, halfAnAmpere,
                           9, interfaceType, 0, 0, 3, 6, 1, 1, 0});
    appendEndpoint(bytes, endpoint::BulkIn, bulk, bulkPacketSize, 0);
    appendEndpoint(bytes, endpoint::BulkOut, bulk, bulkPacketSize, 0);
    appendEndpoint(bytes, endpoint::InterruptIn, interrupt, interruptPacketSize, 6);
    return bytes;
}

Bytes stringDescriptorOf(const Identity& identity, std::uint8_t index) {
    const std::string* const texts[]{nullptr, &identity.manufacturer, &identity.product,
                                     &identity.serial};
    if (index >= std::size(texts)) return {};
    Bytes units;
    if (!texts[index]) {
        appendNumber(units, usEnglish, 2);
    } else {
        // A descriptor's length has one byte, which leaves room for 126 units.
        for (const char16_t unit : wideText(*texts[index]).substr(0, 126))
            appendNumber(units, unit, 2);
    }
    Bytes bytes = bytesOf({static_cast<unsigned>(units.size() + 2), stringType});
    bytes.insert(bytes.end(), units.begin(), units.end());
    return bytes;
}

}  // namespace zlk::camsim
