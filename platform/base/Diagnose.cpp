#include "platform/base/Diagnose.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <mutex>
#include <new>
#include <shared_mutex>

#include "platform/fork.h"

namespace {

// A line holds the lock shared while the sinks run, so that removing a sink waits until nobody is
// inside it any more: its module may be unloaded right after.
std::shared_mutex lock;
std::array<DiagnosticSink, 8> sinks{};
std::atomic<bool> anySinks = false;

// A sink that itself meets something to say (it writes to a trace that lives on named objects)
// would come back here; its own line is dropped.
thread_local bool speaking = false;

thread_local zlk::platform::DiagnosticDelay* delay = nullptr;

}  // namespace

void addDiagnosticSink(DiagnosticSink sink) noexcept {
    // Who held the lock doesn't exist in a forked child. Nor does a fork wait for it: a sink may
    // need what the fork has taken by then.
    static const InForkedChild handler([] { ::new (&lock) std::shared_mutex; });
    const std::unique_lock guard(lock);
    if (!sink || std::find(sinks.begin(), sinks.end(), sink) != sinks.end()) return;
    const auto free = std::find(sinks.begin(), sinks.end(), nullptr);
    if (free == sinks.end()) return;
    *free = sink;
    anySinks = true;
}

void removeDiagnosticSink(DiagnosticSink sink) noexcept {
    const std::unique_lock guard(lock);
    std::replace(sinks.begin(), sinks.end(), sink, DiagnosticSink{});
    anySinks = std::any_of(sinks.begin(), sinks.end(), [](DiagnosticSink each) { return each; });
}

namespace zlk::platform {

bool hasDiagnosticSinks() noexcept {
    return anySinks;
}

void diagnoseLine(const char* category, const std::u16string& line) noexcept {
    if (speaking) return;
    if (delay) {
        try {
            delay->lines_.emplace_back(category, line);
        } catch (const std::bad_alloc&) {
            // The call that the line would explain fails in its own words anyway.
        }
        return;
    }
    speaking = true;
    {
        const std::shared_lock guard(lock);
        for (DiagnosticSink sink : sinks)
            if (sink) sink(category, line.c_str());
    }
    speaking = false;
}

DiagnosticDelay::DiagnosticDelay() noexcept {
    if (!delay) delay = this;
}

DiagnosticDelay::~DiagnosticDelay() {
    if (delay != this) return;
    delay = nullptr;
    for (const auto& [category, line] : lines_) diagnoseLine(category, line);
}

}  // namespace zlk::platform
