#pragma once
// Tells whether this is still the process that set a mark, at the price of reading one word. It
// also notices a fork that bypasses the handlers of pthread_atfork, such as a direct clone().

#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <new>

namespace zlk::platform {

/// This process's number. It differs from every number that a process from which this one descends
/// by forks had at its fork.
inline unsigned processGeneration() noexcept {
    using Number = std::atomic<unsigned>;
    // In a forked child the kernel replaces this page by zeros (MADV_WIPEONFORK), which is how the
    // child notices. Null where the kernel can't do that.
    static Number* const known = []() -> Number* {
        void* const page = ::mmap(nullptr, sizeof(Number), PROT_READ | PROT_WRITE,
                                  MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (page == MAP_FAILED) return nullptr;
        if (::madvise(page, sizeof(Number), MADV_WIPEONFORK) == 0) return new (page) Number(0);
        ::munmap(page, sizeof(Number));
        return nullptr;
    }();
    // Without such a page the process id takes its place, which costs a system call each time.
    if (!known) return static_cast<unsigned>(::getpid());
    unsigned number = *known;
    if (number != 0) return number;
    // A zero means a new process, which takes the next number. `last` is copied by the fork, so
    // that the child's count goes on from its parent's. Several threads may do this at once: the
    // number that is stored first counts for all.
    static Number last = 0;
    const unsigned next = ++last;
    return known->compare_exchange_strong(number, next) ? next : number;
}

/// Remembers the process that made it or last called set().
class ForkMark {
  public:
    void set() noexcept { owner_ = processGeneration(); }
    /// Whether this is another process, forked from that one.
    bool crossed() const noexcept { return owner_ != processGeneration(); }

  private:
    unsigned owner_ = processGeneration();
};

}  // namespace zlk::platform
