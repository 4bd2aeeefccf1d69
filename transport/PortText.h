#pragma once
// Converts the names of ports into the form that the tables of ports use.

#include <string>

#include "platform/text.h"
#include "ptp/PTPCommErrors.h"

namespace zlk {

/// The port in UTF-8. Throws PTP_GENERAL_ERROR if it is longer than `longest` bytes: cut to that
/// length, it could be the name of another port.
inline std::string portText(const WCHAR* wide, std::size_t longest) {
    std::string text = utf8Text(wide);
    if (text.size() > longest) throw PTP_GENERAL_ERROR;
    return text;
}

}  // namespace zlk
