#include "tools/zlkcamsim/Container.h"

namespace zlk::camsim {

std::uint64_t loadNumber(ByteView bytes, std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < size; ++i)
        value |= std::to_integer<std::uint64_t>(bytes[i]) << (8 * i);
    return value;
}

void appendNumber(Bytes& to, std::uint64_t value, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i) to.push_back(static_cast<std::byte>(value >> (8 * i)));
}

/// Length, type, code and id follow one another without gaps.
ContainerHeader ContainerHeader::decode(ByteView bytes) {
    return {static_cast<std::uint32_t>(loadNumber(bytes, 4)),
            static_cast<std::uint16_t>(loadNumber(bytes.subspan(4), 2)),
            static_cast<std::uint16_t>(loadNumber(bytes.subspan(6), 2)),
            static_cast<std::uint32_t>(loadNumber(bytes.subspan(8), 4))};
}

Bytes ContainerHeader::encode() const {
    Bytes bytes;
    appendNumber(bytes, length, 4);
    appendNumber(bytes, type, 2);
    appendNumber(bytes, code, 2);
    appendNumber(bytes, id, 4);
    return bytes;
}

Bytes Message::encode(ContainerType type) const {
    const std::size_t length = ContainerHeader::size + 4 * parameters.size();
    Bytes bytes = ContainerHeader{static_cast<std::uint32_t>(length), type, code, id}.encode();
    for (const std::uint32_t parameter : parameters) appendNumber(bytes, parameter, 4);
    return bytes;
}

/// The span stays valid because the vector is never changed again.
Payload Payload::of(Bytes bytes) {
    const auto kept = std::make_shared<const Bytes>(std::move(bytes));
    return {*kept, kept};
}

}  // namespace zlk::camsim
