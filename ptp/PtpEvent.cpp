#include "ptp/PtpEvent.h"

#include "ptp/ContainerBlock.h"

namespace zlk {

PtpEvent::PtpEvent(PtpDataStream& stream) {
    stream.setCursor(0);
    length = stream.readU32();
    type = stream.readU16();
    code = stream.readU16();
    if (type != static_cast<std::uint16_t>(ContainerType::Event)) return;
    // After the first 8 bytes come the transaction's id and the parameters, as many words as the
    // length has room for.
    const std::int32_t words = static_cast<std::int32_t>(length - 8) / 4;
    if (words > 0) id = stream.readU32();
    if (words > 1) param1 = stream.readU32();
    if (words > 2) param2 = stream.readU32();
}

}  // namespace zlk
