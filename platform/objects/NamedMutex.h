#pragma once
// A mutex: first a turn among the threads of this process, then the ownership byte of its file
// among the processes.

#include <semaphore.h>

#include "platform/objects/NamedObject.h"

namespace zlk::platform {

class NamedMutex final : public NamedObject {
  public:
    explicit NamedMutex(bool initialOwner) noexcept;
    ~NamedMutex() override { sem_destroy(&turn_); }

    /// The results of WaitForSingleObject.
    DWORD wait(bool withoutLimit) noexcept;
    bool release() noexcept;

  private:
    bool make() override;
    bool join() override;
    void abandon() noexcept override { letGo(); }

    bool takeTurn(bool wait) noexcept;
    void becomeOwner() noexcept;
    void letGo() noexcept;

    // A semaphore and not a std::mutex: the owner's last handle may go in another thread.
    sem_t turn_;
    unsigned count_ = 0;  // the owner's
    const bool initialOwner_;
};

}  // namespace zlk::platform
