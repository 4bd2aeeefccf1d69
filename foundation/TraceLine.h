#pragma once
// The trace call of all floors.
//
// Lines go to a buffer in shared memory that a viewer process owns (see CLog.h). While no viewer
// has the log on, nothing is formatted.

#include <array>
#include <span>

#include "foundation/CLog.h"
#include "platform/text.h"

namespace zlk {

/// Writes one line if the log is on. `category` is a subject, mostly the name of the calling class.
/// `format` is as in formatWide(). The arguments carry their own types, so a wrong one can't read
/// foreign memory. From any thread. Never throws; a line that can't be stored is lost.
template <class... Arguments>
inline void TraceLine(const char* category, const char* format, const Arguments&... arguments) {
    CLog* log = CLog::process();
    if (!log || !log->isOn()) return;
    const std::array<FormatArgument, sizeof...(Arguments)> list{FormatArgument(arguments)...};
    log->writeLine(category, format, std::span<const FormatArgument>(list));
}

}  // namespace zlk
