#pragma once
#include <string>

#include "platform/text.h"
#include "ptp/PTPCommErrors.h"

namespace zlk {

/// A port as the tables have it, in 8 bits. One that is longer than `longest` bytes would be
/// another's when it is cut: PTP_GENERAL_ERROR.
inline std::string portText(const WCHAR* wide, std::size_t longest) {
    std::string text = utf8Text(wide);
    if (text.size() > longest) throw PTP_GENERAL_ERROR;
    return text;
}

}  // namespace zlk
