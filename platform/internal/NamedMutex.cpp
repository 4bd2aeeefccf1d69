#include "platform/internal/NamedMutex.h"

#include <errno.h>

#include "platform/error.h"
#include "platform/named_objects.h"

namespace zlk::platform {

NamedMutex::NamedMutex(bool initialOwner) noexcept
    : NamedObject(NamedObjectFile::Kind::Mutex), initialOwner_(initialOwner) {
    sem_init(&turn_, 0, 1);
}

bool NamedMutex::make() {
    if (!file_.layOut(NamedObjectFile::Kind::Mutex, 0)) return false;
    if (!initialOwner_) return true;
    const DWORD result = wait(false);
    // Somebody has the ownership byte of an object that nobody has.
    if (result == WAIT_TIMEOUT) SetLastError(ERROR_ACCESS_DENIED);
    return result == WAIT_OBJECT_0;
}

bool NamedMutex::join() {
    std::uint64_t unused;
    return file_.readHeader(NamedObjectFile::Kind::Mutex, unused);
}

DWORD NamedMutex::wait(bool withoutLimit) noexcept {
    using Lock = NamedObjectFile::Lock;
    if (lost()) {
        SetLastError(ERROR_INVALID_HANDLE);
        return WAIT_FAILED;
    }
    if (owner_ == thisThread()) {
        ++count_;
        return WAIT_OBJECT_0;
    }
    if (!watchEndOfThread()) return WAIT_FAILED;
    if (!takeTurn(withoutLimit)) return WAIT_TIMEOUT;
    const Lock answer = file_.takeOwnership(withoutLimit);
    if (answer != Lock::Granted) {
        sem_post(&turn_);
        return answer == Lock::Contested ? WAIT_TIMEOUT : WAIT_FAILED;
    }
    const bool abandoned = file_.marked();
    // Where the disk refuses the mark, our own death would go unreported, and nothing else.
    if (!abandoned) file_.mark(true);
    owner_ = thisThread();
    count_ = 1;
    return abandoned ? WAIT_ABANDONED : WAIT_OBJECT_0;
}

bool NamedMutex::release() noexcept {
    if (lost() || owner_ != thisThread()) {
        SetLastError(lost() ? ERROR_INVALID_HANDLE : ERROR_NOT_OWNER);
        return false;
    }
    if (--count_ > 0) return true;
    file_.mark(false);
    letGo();
    return true;
}

bool NamedMutex::takeTurn(bool wait) noexcept {
    int result;
    do {
        result = wait ? sem_wait(&turn_) : sem_trywait(&turn_);
    } while (result != 0 && errno == EINTR);
    return result == 0;
}

void NamedMutex::letGo() noexcept {
    owner_ = nullptr;
    file_.leaveOwnership();
    sem_post(&turn_);
}

}  // namespace zlk::platform
