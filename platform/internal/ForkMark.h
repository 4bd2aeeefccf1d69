#pragma once
// Whether this is still the process that set the mark, at the price of reading a byte. A fork that
// goes round the handlers of pthread_atfork is noticed as well.

#include <sys/mman.h>
#include <sys/types.h>
#include <unistd.h>

namespace zlk::platform {

class ForkMark {
  public:
    ForkMark() noexcept {
        void* page = ::mmap(nullptr, 1, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        // The kernel gives a child zeros in its place.
        if (page != MAP_FAILED && ::madvise(page, 1, MADV_WIPEONFORK) == 0)
            mark_ = static_cast<volatile unsigned char*>(page);
        else if (page != MAP_FAILED)
            ::munmap(page, 1);
        set();
    }
    ~ForkMark() {
        if (mark_) ::munmap(const_cast<unsigned char*>(mark_), 1);
    }
    ForkMark(const ForkMark&) = delete;
    ForkMark& operator=(const ForkMark&) = delete;

    void set() noexcept {
        if (mark_) *mark_ = 1;
        owner_ = ::getpid();
    }
    bool crossed() const noexcept { return mark_ ? *mark_ == 0 : owner_ != ::getpid(); }

  private:
    volatile unsigned char* mark_ = nullptr;  // null where the kernel has no such page
    pid_t owner_ = 0;
};

}  // namespace zlk::platform
