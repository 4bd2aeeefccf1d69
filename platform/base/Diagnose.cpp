#include "platform/base/Diagnose.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <mutex>
#include <new>
#include <shared_mutex>

#include "platform/fork.h"

namespace {

// Guards the sinks. diagnoseLine holds the lock shared while the sinks run. Removing a sink takes
// the lock exclusively, and so waits until no thread is inside that sink: the sink's module may be
// unloaded right after.
std::shared_mutex lock;
std::array<DiagnosticSink, 8> sinks{};
// Lets callers skip formatting a line that nobody would receive, without taking the lock.
std::atomic<bool> anySinks = false;

// Set while this thread runs the sinks. A line that a sink causes is dropped, because it would make
// that sink run again.
thread_local bool speaking = false;

// The outermost delay of this thread, which collects the thread's lines; null if there is none.
thread_local zlk::platform::DiagnosticDelay* delay = nullptr;

}  // namespace

void addDiagnosticSink(DiagnosticSink sink) noexcept {
    // In a forked child a thread that held the lock exists no longer, so the lock is made anew
    // there. Taking it before each fork instead would risk a deadlock: a sink that is running may
    // need a lock that another fork handler has already taken.
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
            // Without memory the line is lost.
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
