#include "platform/objects/NamedMutex.h"

#include <errno.h>

#include "platform/error.h"
#include "platform/named_objects.h"

namespace zlk::platform {

NamedMutex::NamedMutex(bool initialOwner) noexcept
    : NamedObject(NamedObjectFile::Kind::Mutex), initialOwner_(initialOwner) {
    sem_init(&turn_, 0, 1);
}

bool NamedMutex::make() {
    // A new mutex's turn is free, so only watchEndOfThread can fail.
    if (initialOwner_ && (!watchEndOfThread() || !takeTurn(false))) return false;
    if (initialOwner_) becomeOwner();
    return file_.layOut(NamedObjectFile::Kind::Mutex, initialOwner_, 0) && file_.mapMark();
}

bool NamedMutex::join() {
    std::uint64_t unused;
    return file_.readHeader(NamedObjectFile::Kind::Mutex, unused) && file_.mapMark();
}

DWORD NamedMutex::wait(bool withoutLimit) noexcept {
    using Lock = NamedObjectFile::Lock;
    if (lost()) {
        SetLastError(ERROR_INVALID_HANDLE);
        return WAIT_FAILED;
    }
    // Only this thread sets owner_ to its own id and takes the id away again, so comparing needs no
    // lock.
    if (owner_ == thisThread()) {
        ++count_;
        return WAIT_OBJECT_0;
    }
    if (!watchEndOfThread()) return WAIT_FAILED;
    // The thread takes its turn within the process first, and then the lock among the processes. If
    // it doesn't get the lock, it passes the turn on to the other threads.
    if (!takeTurn(withoutLimit)) return WAIT_TIMEOUT;
    const Lock answer = file_.takeOwnership(withoutLimit);
    if (answer != Lock::Granted) {
        sem_post(&turn_);
        return answer == Lock::Contested ? WAIT_TIMEOUT : WAIT_FAILED;
    }
    becomeOwner();
    // An owner that releases the mutex clears the mark before it unlocks the byte. If the mark is
    // still set, the last owner ended, or its process closed the mutex, without releasing it.
    return file_.mark().exchange(1) ? WAIT_ABANDONED : WAIT_OBJECT_0;
}

bool NamedMutex::release() noexcept {
    if (lost() || owner_ != thisThread()) {
        SetLastError(lost() ? ERROR_INVALID_HANDLE : ERROR_NOT_OWNER);
        return false;
    }
    if (--count_ > 0) return true;
    // The mark is cleared before letGo() unlocks the byte. Otherwise the next owner could find it
    // still set, and take us for dead.
    file_.mark() = 0;
    letGo();
    return true;
}

void NamedMutex::becomeOwner() noexcept {
    owner_ = thisThread();
    count_ = 1;
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
