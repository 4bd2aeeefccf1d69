#pragma once
// How the platform's own bodies speak to the sinks of diagnostics.h.

#include <string_view>

#include "platform/diagnostics.h"
#include "platform/text.h"

namespace zlk::platform {

void diagnoseLine(const char* category, const std::u16string& line) noexcept;
bool hasDiagnosticSinks() noexcept;

/// Formats as formatText does, and only where somebody listens.
template <class... Arguments>
void diagnose(const char* category, std::u16string_view format, const Arguments&... arguments) {
    if (hasDiagnosticSinks()) diagnoseLine(category, formatText(format, arguments...));
}

}  // namespace zlk::platform
