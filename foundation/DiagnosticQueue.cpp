#include "foundation/DiagnosticQueue.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstring>
#include <mutex>
#include <new>

#include "platform/diagnostics.h"
#include "platform/fork.h"

namespace zlk::DiagnosticQueue {
namespace {

std::mutex queueLock;
std::array<Line, 16> queue;  // a ring: `count` lines from `first` on
std::size_t first = 0;
std::atomic<std::size_t> count{0};  // written under the lock

void add(const char* category, const WCHAR* text) {
    const std::lock_guard lock(queueLock);
    if (count == queue.size()) return;
    Line& line = queue[(first + count) % queue.size()];
    const std::size_t categorySize = strnlen(category, sizeof line.category - 1);
    std::memcpy(line.category, category, categorySize);
    line.category[categorySize] = 0;
    line.length = 0;
    while (line.length < std::size(line.units) && text[line.length]) {
        line.units[line.length] = text[line.length];
        ++line.length;
    }
    ++count;
}

/// For a forked child, where the lines are the parent's and a thread that held the lock is missing.
void beginAnew() {
    ::new (&queueLock) std::mutex;
    first = 0;
    count = 0;
}

}  // namespace

Listener::Listener() noexcept {
    static const InForkedChild handler(beginAnew);
    addDiagnosticSink(add);
}

Listener::~Listener() {
    removeDiagnosticSink(add);
}

std::size_t waiting() noexcept {
    return count.load(std::memory_order_relaxed);
}

bool take(Line& line) noexcept {
    const std::lock_guard lock(queueLock);
    if (count == 0) return false;
    line = queue[first];
    first = (first + 1) % queue.size();
    --count;
    return true;
}

}  // namespace zlk::DiagnosticQueue
