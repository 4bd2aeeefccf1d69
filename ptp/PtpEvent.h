#pragma once
// An event that a camera sends through its interrupt pipe.

#include <cstdint>

#include "ptp/PtpDataStream.h"

namespace zlk {

/// One container of the interrupt pipe. The third parameter isn't decoded.
class PtpEvent {
  public:
    PtpEvent() = default;
    /// Decodes from the start of the stream. Of a container that isn't an event, only the length,
    /// the type and the code are decoded. Throws PTP_GENERAL_ERROR if the stream is too short.
    explicit PtpEvent(PtpDataStream& stream);
    virtual ~PtpEvent() = default;

    std::uint16_t code = 0;
    std::uint32_t id = 0;  ///< of the transaction that the event belongs to
    std::uint32_t param1 = 0;
    std::uint32_t param2 = 0;
    std::uint32_t length = 0;  ///< bytes of the whole container
    std::uint16_t type = 0;
};

}  // namespace zlk
