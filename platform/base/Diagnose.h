#pragma once
// How the platform's own bodies speak to the sinks of diagnostics.h.

#include <string_view>
#include <utility>
#include <vector>

#include "platform/diagnostics.h"
#include "platform/text.h"

namespace zlk::platform {

void diagnoseLine(const char* category, const std::u16string& line) noexcept;
bool hasDiagnosticSinks() noexcept;

/// Keeps back what this thread has to say until the end of its scope: made before a lock is taken,
/// it lets the lines out once the lock is free again. One within another changes nothing.
class DiagnosticDelay {
  public:
    DiagnosticDelay() noexcept;
    ~DiagnosticDelay();
    DiagnosticDelay(const DiagnosticDelay&) = delete;
    DiagnosticDelay& operator=(const DiagnosticDelay&) = delete;

  private:
    friend void diagnoseLine(const char* category, const std::u16string& line) noexcept;
    std::vector<std::pair<const char*, std::u16string>> lines_;
};

/// Formats as formatText does, and only where somebody listens.
template <class... Arguments>
void diagnose(const char* category, std::u16string_view format, const Arguments&... arguments) {
    if (hasDiagnosticSinks()) diagnoseLine(category, formatText(format, arguments...));
}

}  // namespace zlk::platform
