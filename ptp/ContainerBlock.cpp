#include "ptp/ContainerBlock.h"

namespace zlk {

ContainerBlock::ContainerBlock(PtpDataStream& stream) {
    stream.setCursor(0);
    length = stream.readU32();
    type = stream.readU16();
    code = stream.readU16();
    id = stream.readU32();
    if (!is(ContainerType::Response)) return;
    // A length below the header's own gives no positive number, and so no parameters.
    const std::int32_t parameters = static_cast<std::int32_t>(length - containerHeaderSize) / 4;
    if (parameters > 0) param1 = stream.readU32();
    if (parameters > 1) param2 = stream.readU32();
    if (parameters > 2) param3 = stream.readU32();
}

}  // namespace zlk
