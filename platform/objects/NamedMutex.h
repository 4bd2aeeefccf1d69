#pragma once
// A mutex, with or without a name. A thread that doesn't own it yet acquires it in two steps. It
// first takes the turn, which one thread of this process can have at a time. Then it locks the
// ownership byte of the mutex's file against other processes. The second step alone wouldn't do,
// because a lock on an open file description can't tell the threads of one process apart.

#include <semaphore.h>

#include "platform/objects/NamedObject.h"

namespace zlk::platform {

class NamedMutex final : public NamedObject {
  public:
    /// With `initialOwner` the thread that opens the mutex owns it at once, if this opening makes
    /// it.
    explicit NamedMutex(bool initialOwner) noexcept;
    ~NamedMutex() override { sem_destroy(&turn_); }

    /// The results and last errors are those of WaitForSingleObject and ReleaseMutex. wait() waits
    /// for an owner only if `withoutLimit`. Both may be called on any thread.
    DWORD wait(bool withoutLimit) noexcept;
    bool release() noexcept;

  private:
    bool make() override;
    bool join() override;
    void abandon() noexcept override { letGo(); }

    /// Takes the turn among this process's threads; false if another thread has it and `wait` is
    /// false.
    bool takeTurn(bool wait) noexcept;
    void becomeOwner() noexcept;
    /// Gives up the ownership of the thread that has it, and leaves the mark as it is.
    void letGo() noexcept;

    // 1 while no thread of this process has the turn. It is a semaphore because the last handle may
    // be closed while a thread owns the mutex, and a std::mutex mustn't be destroyed while it is
    // locked.
    sem_t turn_;
    unsigned count_ = 0;  // how often owner_ has acquired it; used by that thread only
    const bool initialOwner_;
};

}  // namespace zlk::platform
