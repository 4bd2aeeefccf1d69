#pragma once
// What the platform has to say, on its way into the trace.
//
// The platform speaks with locks of its own held, and storing a trace line calls back into it
// (mutexes, sections). So a word of it only goes into this queue, under a lock that nobody holds
// across another call, and the next trace line that is stored takes it along.

#include <cstddef>
#include <string_view>

#include "platform/types.h"

namespace zlk::DiagnosticQueue {

struct Line {
    char category[32];
    WCHAR units[512];
    std::size_t length;

    std::u16string_view text() const noexcept { return {units, length}; }
};

/// Listens to the platform while it lives.
struct Listener {
    Listener() noexcept;
    ~Listener();
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;
};

/// Lines that wait. At most 16: later ones are lost, as the first ones tell the cause.
std::size_t waiting() noexcept;

/// Takes the oldest line; false if there is none.
bool take(Line& line) noexcept;

}  // namespace zlk::DiagnosticQueue
