#pragma once
// The system's own log.

#include <string_view>

#include "platform/types.h"

enum class LogSeverity : BYTE { Notice = 5, Informational = 6 };

#pragma GCC visibility push(default)

/// Writes one line as `identity`, with the process's id. It takes a road of its own: what the
/// process has set with openlog() stays as it is. Never waits and raises no signal; false where
/// there is no log or it can't take the line now. `socket` is where it listens.
bool writeSystemLog(LogSeverity severity, std::string_view identity, std::string_view line,
                    const char* socket = "/dev/log") noexcept;

#pragma GCC visibility pop
