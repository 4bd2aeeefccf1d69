#pragma once
// Brings the platform's diagnostic lines into the trace.
//
// The platform may report while it holds locks of its own, and storing a trace line calls back into
// the platform (mutexes, sections), which could deadlock. So a diagnostic line only goes into this
// queue, and is stored together with the next trace line. The queue's lock is never held across a
// call of the platform.

#include <cstddef>
#include <string_view>

#include "platform/types.h"

namespace zlk::DiagnosticQueue {

/// A diagnostic line, cut off where it is too long.
struct Line {
    char category[32];
    WCHAR units[512];
    std::size_t length;  // how many of the `units` are used

    std::u16string_view text() const noexcept { return {units, length}; }
};

/// Receives the platform's diagnostics while it exists.
struct Listener {
    Listener() noexcept;
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
};

/// The number of waiting lines. It is at most 16: later lines are dropped, since the first ones
/// show the cause. From any thread, like take().
std::size_t waiting() noexcept;

/// Takes the oldest line; false if there is none.
bool take(Line& line) noexcept;

}  // namespace zlk::DiagnosticQueue
