#pragma once
// Writes lines to the system's own log (syslog).

#include <string_view>

#include "platform/types.h"

/// How important a line is; the values are those of syslog.
enum class LogSeverity : BYTE { Notice = 5, Informational = 6 };

#pragma GCC visibility push(default)

/// Writes one line as coming from `identity`, with the process's id. It sends the datagram itself
/// and doesn't use syslog(), because the application may have settings of its own in openlog(),
/// which must stay as they are. It never waits and raises no signal; it returns false if the line
/// can't be sent now. `socket` is the path on which the log listens, in UTF-8. May be called on any
/// thread.
bool writeSystemLog(LogSeverity severity, std::string_view identity, std::string_view line,
                    const char* socket = "/dev/log") noexcept;

#pragma GCC visibility pop
