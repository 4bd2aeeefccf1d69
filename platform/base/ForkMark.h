#pragma once
// Finds out whether this process is a forked child of the one that opened something. This works
// even after a fork that bypasses the handlers of pthread_atfork, such as a direct clone() without
// CLONE_VM.

#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <new>

namespace zlk::platform {

/// A number for this process. A forked child gets another number than its parent had at the fork.
inline unsigned processGeneration() noexcept {
    using Number = std::atomic<unsigned>;
    // In a forked child the kernel replaces this page by zeros (MADV_WIPEONFORK), by which the
    // child notices the fork. Null if such a page can't be had.
    static Number* const known = []() -> Number* {
        void* const page = ::mmap(nullptr, sizeof(Number), PROT_READ | PROT_WRITE,
                                  MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (page == MAP_FAILED) return nullptr;
        if (::madvise(page, sizeof(Number), MADV_WIPEONFORK) == 0) return new (page) Number(0);
        ::munmap(page, sizeof(Number));
        return nullptr;
    }();
    // Without the page the process id serves as the number, which costs a system call each time.
    if (!known) return static_cast<unsigned>(::getpid());
    unsigned number = *known;
    if (number != 0) return number;
    // A zero means that this process has no number yet, so it takes the next one. The fork copies
    // `last`, so the child counts on from its parent. Several threads may do this at once: the
    // number that is stored first counts for all.
    static Number last = 0;
    const unsigned next = ++last;
    return known->compare_exchange_strong(number, next) ? next : number;
}

/// Remembers the process that made this object or that last called set().
class ForkMark {
  public:
    void set() noexcept { owner_ = processGeneration(); }
    /// False in the process that is remembered, and true in a child forked from it.
    bool crossed() const noexcept { return owner_ != processGeneration(); }

  private:
    unsigned owner_ = processGeneration();
};

}  // namespace zlk::platform
