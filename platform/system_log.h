#pragma once
// Writes lines to the system's own log (syslog).

#include <string_view>

#include "platform/types.h"

/// How important a line is; the values are those of syslog.
enum class LogSeverity : BYTE { Notice = 5, Informational = 6 };

#pragma GCC visibility push(default)

/// Writes one line as coming from `identity`, with the process's id. It sends the line to the log's
/// socket itself, because syslog() uses settings of openlog() that belong to the application. It
/// never waits and raises no signal; it returns false if the line can't be sent now. `socket` is
/// the path on which the log listens, in UTF-8. May be called on any thread.
bool writeSystemLog(LogSeverity severity, std::string_view identity, std::string_view line,
                    const char* socket = "/dev/log") noexcept;

#pragma GCC visibility pop
