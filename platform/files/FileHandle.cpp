#include "platform/files/FileHandle.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>

#include "platform/base/FileLock.h"
#include "platform/base/FileTimes.h"
#include "platform/base/PosixError.h"
#include "platform/files.h"

namespace zlk::platform {
namespace {

constexpr off_t sharingBytes = off_t{1} << 62;  // far behind any file's end

timespec timeOf(const FILETIME& time) noexcept {
    const auto ticks = static_cast<std::int64_t>(ticksOf(time));
    constexpr std::int64_t perSecond = ticksPerSecond;
    return {ticks / perSecond - secondsFrom1601To1970, ticks % perSecond * 100};
}

// What an opener does and what it denies to others meanwhile: for each a byte that may be locked.
// Those that readers lock, and those that readers ask for, are neighbours, and so one lock.
constexpr unsigned reads = 1, deniesWriting = 2, writes = 4, deniesReading = 8;
constexpr unsigned useCount = 4;

/// Locks the bytes of some neighbouring uses (F_OFD_SETLK), or asks whether that could be done
/// (F_OFD_GETLK); true if somebody else's lock is in the way.
bool isTaken(int file, int command, short type, unsigned first, unsigned count) noexcept {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = sharingBytes + first;
    lock.l_len = count;
    const bool done = ::fcntl(file, command, &lock) == 0;
    if (command == F_OFD_GETLK) return done && lock.l_type != F_UNLCK;
    return !done && (errno == EAGAIN || errno == EACCES);
}

/// isTaken for all uses in a set, neighbours of one type together; stops at the first refusal.
template <class TypeOf>
bool isAnyTaken(int file, int command, unsigned uses, TypeOf typeOf) noexcept {
    for (unsigned first = 0, end; first < useCount; first = end) {
        end = first + 1;
        if (!(uses >> first & 1)) continue;
        const short type = typeOf(1u << first);
        while (end < useCount && uses >> end & 1 && typeOf(1u << end) == type) ++end;
        if (isTaken(file, command, type, first, end - first)) return true;
    }
    return false;
}

/// Calls `step` with what is left until all is done, it delivers nothing, or it fails.
template <class Byte, class Step>
bool transfer(Byte* bytes, DWORD size, DWORD& done, Step step) {
    done = 0;
    while (done < size) {
        const ssize_t moved = step(bytes + done, size - done);
        if (moved == 0) break;
        if (moved > 0) {
            done += static_cast<DWORD>(moved);
        } else if (errno != EINTR) {
            setLastErrorFromErrno();
            return false;
        }
    }
    return true;
}

}  // namespace

FileHandle::~FileHandle() {
    // Said outright: a child that was forked meanwhile has the descriptor as well. Where it is the
    // child that closes, the lock is its parent's.
    struct flock none = wholeFile(F_UNLCK);
    // Who only asks holds none.
    if (access_ != 0 && !opener_.crossed()) ::fcntl(file_.get(), F_OFD_SETLK, &none);
}

bool FileHandle::allows(DWORD right) const {
    if (access_ & right) return true;
    SetLastError(ERROR_ACCESS_DENIED);
    return false;
}

bool FileHandle::claim(DWORD share) {
    if (access_ == 0) return true;
    const bool toRead = access_ & GENERIC_READ, toWrite = access_ & GENERIC_WRITE;
    const bool sharesReading = share & FILE_SHARE_READ, sharesWriting = share & FILE_SHARE_WRITE;
    const unsigned mine = (toRead ? reads : 0u) | (toWrite ? writes : 0u) |
                          (sharesReading ? 0u : deniesReading) |
                          (sharesWriting ? 0u : deniesWriting);
    const unsigned notOthers = (toRead ? deniesReading : 0u) | (toWrite ? deniesWriting : 0u) |
                               (sharesReading ? 0u : reads) | (sharesWriting ? 0u : writes);
    // First all of ours is locked, and then the others are asked for: if two openers that exclude
    // each other come at the same moment, both may be refused, but never are both granted. What
    // nobody else may do either is locked exclusively, so that one of two writers that share
    // nothing is granted. Such a lock takes the right to write.
    const auto myType = [&](unsigned use) -> short {
        return toWrite && (notOthers & use) ? F_WRLCK : F_RDLCK;
    };
    const bool refused =
        isAnyTaken(file_.get(), F_OFD_SETLK, mine, myType) ||
        isAnyTaken(file_.get(), F_OFD_GETLK, notOthers, [](unsigned) { return F_WRLCK; });
    if (refused) SetLastError(ERROR_SHARING_VIOLATION);
    return !refused;
}

bool FileHandle::read(void* buffer, DWORD size, DWORD& done) {
    done = 0;
    if (!allows(GENERIC_READ)) return false;
    return transfer(static_cast<char*>(buffer), size, done,
                    [this](char* to, std::size_t room) { return ::read(file_.get(), to, room); });
}

bool FileHandle::write(const void* buffer, DWORD size, DWORD& done) {
    done = 0;
    if (!allows(GENERIC_WRITE)) return false;
    if (!transfer(static_cast<const char*>(buffer), size, done,
                  [this](const char* from, std::size_t left) {
                      return ::write(file_.get(), from, left);
                  }))
        return false;
    if (done == size) return true;
    SetLastError(ERROR_DISK_FULL);  // nothing taken, nothing said: there is no room
    return false;
}

bool FileHandle::flush() {
    if (!allows(GENERIC_WRITE)) return false;
    if (::fsync(file_.get()) == 0 || errno == EINVAL) return true;
    setLastErrorFromErrno();
    return false;
}

bool FileHandle::size(std::int64_t& bytes) {
    struct stat status;
    if (::fstat(file_.get(), &status) == 0) {
        bytes = status.st_size;
        return true;
    }
    setLastErrorFromErrno();
    return false;
}

bool FileHandle::setLastWrite(const FILETIME& time) {
    if (!allows(GENERIC_WRITE)) return false;
    const timespec times[2]{{0, UTIME_OMIT}, timeOf(time)};
    if (::futimens(file_.get(), times) == 0) return true;
    setLastErrorFromErrno();
    return false;
}

}  // namespace zlk::platform
