#pragma once
// How the platform's own code sends lines to the sinks of diagnostics.h. Any thread may do so.

#include <string_view>
#include <utility>
#include <vector>

#include "platform/diagnostics.h"
#include "platform/text.h"

namespace zlk::platform {

/// Sends a line to all sinks, or keeps it back while a DiagnosticDelay of this thread lives. A line
/// is dropped if a sink itself causes it, or if there is no memory to keep it back.
void diagnoseLine(const char* category, const std::u16string& line) noexcept;
bool hasDiagnosticSinks() noexcept;

/// Keeps back this thread's lines until the end of the delay's scope. If a function makes a delay
/// before it takes a lock, the sinks run only after the lock is free again. A delay inside another
/// delay has no effect.
class DiagnosticDelay {
  public:
    DiagnosticDelay() noexcept;
    ~DiagnosticDelay();
    DiagnosticDelay(const DiagnosticDelay&) = delete;
    DiagnosticDelay& operator=(const DiagnosticDelay&) = delete;

  private:
    friend void diagnoseLine(const char* category, const std::u16string& line) noexcept;
    std::vector<std::pair<const char*, std::u16string>> lines_;  // category and text, in order
};

/// Formats a line as formatText does and sends it. Without sinks it does nothing. Throws
/// std::bad_alloc.
template <class... Arguments>
void diagnose(const char* category, std::u16string_view format, const Arguments&... arguments) {
    if (hasDiagnosticSinks()) diagnoseLine(category, formatText(format, arguments...));
}

}  // namespace zlk::platform
