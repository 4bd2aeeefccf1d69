#pragma once
// The error type of the PTP stack and of its transports.

#include <cstdint>

namespace zlk {

/// If a camera refuses an operation, the code of its response (ISO 15740: 0x2xxx, and 0xAxxx for
/// vendors' codes) is thrown unchanged. So is the code of a data container that belongs to another
/// operation. Values without a name occur, too.
enum PTPCommErrors : std::uint32_t {
    PTP_NO_CONNECTION = 1,    ///< there is no transport, or the device can't be opened
    PTP_OUT_OF_MEMORY = 2,    ///< no memory for a buffer, or a container is too long
    PTP_TRANSPORT_ERROR = 3,  ///< a transfer or control request failed, or brought a wrong length
    PTP_NO_RESPONSE = 4,      ///< a container, its rest or a list of handles didn't come
    PTP_INVALID_HANDLE = 8,   ///< the handle is dead; the device has to be opened again
    PTP_GENERAL_ERROR = 0x2002,
    PTP_SESSION_NOT_OPEN = 0x2003,
    PTP_INVALID_TRANSACTION_ID = 0x2004,
    PTP_OPERATION_NOT_SUPPORTED = 0x2005,
    PTP_PARAMETER_NOT_SUPPORTED = 0x2006,
    PTP_INCOMPLETE_TRANSFER = 0x2007,
    PTP_INVALID_STORAGE_ID = 0x2008,
    PTP_INVALID_OBJECT_HANDLE = 0x2009,
    PTP_STORE_NOT_AVAILABLE = 0x2013,
    PTP_FORMAT_FILTER_NOT_SUPPORTED = 0x2014,
    PTP_INVALID_PARAMETER = 0x201D,
    PTP_SESSION_ALREADY_OPEN = 0x201E,
    PTP_TRANSACTION_CANCELLED = 0x201F,
};

/// The response code for success.
inline constexpr std::uint16_t ptpOk = 0x2001;

}  // namespace zlk
