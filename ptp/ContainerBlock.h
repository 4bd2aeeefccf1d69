#pragma once
// The header of a PTP container (USB still image class, ISO 15740).

#include <cstdint>

#include "ptp/PtpDataStream.h"

namespace zlk {

enum class ContainerType : std::uint16_t { Command = 1, Data = 2, Response = 3, Event = 4 };

inline constexpr std::uint32_t containerHeaderSize = 12;  // bytes

/// A decoded header, with the first three parameters of a response. On the wire all fields are
/// little-endian.
class ContainerBlock {
  public:
    ContainerBlock() = default;
    /// Decodes from the start of the stream, and leaves the cursor after what it read, where the
    /// payload of a data container begins. The fourth and fifth parameter aren't decoded. Throws
    /// PTP_GENERAL_ERROR if the stream is too short.
    explicit ContainerBlock(PtpDataStream& stream);
    virtual ~ContainerBlock() = default;

    bool is(ContainerType wanted) const { return type == static_cast<std::uint16_t>(wanted); }

    std::uint32_t length = 0;  ///< bytes of the whole container, header included
    std::uint16_t type = 0;
    std::uint16_t code = 0;  ///< of an operation or a response
    std::uint32_t id = 0;    ///< of the transaction
    std::uint32_t param1 = 0, param2 = 0, param3 = 0, param4 = 0, param5 = 0;
};

}  // namespace zlk
