#pragma once
#include <cstdint>

#include "ptp/PtpDataStream.h"

namespace zlk {

/// The types of a USB still image container.
enum class ContainerType : std::uint16_t { Command = 1, Data = 2, Response = 3, Event = 4 };

inline constexpr std::uint32_t containerHeaderSize = 12;

/// The head of a container, little-endian on the wire: length, type, code, transaction id, and
/// the parameters of a response.
class ContainerBlock {
  public:
    ContainerBlock() = default;
    /// Decodes from the start of the stream and leaves the cursor behind what it read: at the
    /// payload of a data container. The fourth and fifth parameter aren't decoded.
    explicit ContainerBlock(PtpDataStream& stream);
    virtual ~ContainerBlock() = default;

    bool is(ContainerType wanted) const { return type == static_cast<std::uint16_t>(wanted); }

    std::uint32_t length = 0;  ///< of the whole container
    std::uint16_t type = 0;
    std::uint16_t code = 0;
    std::uint32_t id = 0;
    std::uint32_t param1 = 0, param2 = 0, param3 = 0, param4 = 0, param5 = 0;
};

}  // namespace zlk
