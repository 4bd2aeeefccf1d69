#pragma once
// Whether this is still the process that set the mark, at the price of reading a word. A fork that
// goes round the handlers of pthread_atfork is noticed as well.

#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <new>

namespace zlk::platform {

/// A number that differs from those of the processes that this one was forked from.
inline unsigned processGeneration() noexcept {
    using Number = std::atomic<unsigned>;
    // The kernel gives a child zeros in place of this page. None where it has no such page.
    static Number* const known = []() -> Number* {
        void* const page = ::mmap(nullptr, sizeof(Number), PROT_READ | PROT_WRITE,
                                  MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (page == MAP_FAILED) return nullptr;
        if (::madvise(page, sizeof(Number), MADV_WIPEONFORK) == 0) return new (page) Number(0);
        ::munmap(page, sizeof(Number));
        return nullptr;
    }();
    if (!known) return static_cast<unsigned>(::getpid());
    unsigned number = *known;
    if (number != 0) return number;
    // A child has its parent's count, and so goes on from there.
    static Number last = 0;
    const unsigned next = ++last;
    return known->compare_exchange_strong(number, next) ? next : number;
}

class ForkMark {
  public:
    void set() noexcept { owner_ = processGeneration(); }
    bool crossed() const noexcept { return owner_ != processGeneration(); }

  private:
    unsigned owner_ = processGeneration();
};

}  // namespace zlk::platform
