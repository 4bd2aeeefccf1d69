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

constexpr off_t sharingBytes = off_t{1} << 62;  // beyond the end of any file

timespec timeOf(const FILETIME& time) noexcept {
    const auto ticks = static_cast<std::int64_t>(ticksOf(time));
    constexpr std::int64_t perSecond = ticksPerSecond;
    return {ticks / perSecond - secondsFrom1601To1970, ticks % perSecond * 100};
}

// What an opener does, and what it denies to others meanwhile. Each of these uses has a byte that
// openers lock. A reader that doesn't share writing locks two bytes, and looks whether others have
// the other two. Each pair takes one system call, because its bytes are neighbours.
constexpr unsigned reads = 1, deniesWriting = 2, writes = 4, deniesReading = 8;
constexpr unsigned useCount = 4;

/// Locks the bytes of `count` neighbouring uses (F_OFD_SETLK), or asks whether that could be done
/// (F_OFD_GETLK). True if the lock of another opener is in the way. Any other failure counts as
/// granted, because some file systems have no such locks.
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

/// Applies isTaken to all uses in a set, joining neighbours with one type of lock; stops at the
/// first refusal.
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

/// Calls `step` with the bytes that are left, until all are done or `step` moves none. `done`
/// counts the bytes moved. False with the last error if `step` fails, except with EINTR.
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
    // The bytes are unlocked before the file is closed: a child that was forked meanwhile has the
    // descriptor, and the locks, too. A child that closes the file unlocks nothing, since the locks
    // are its parent's.
    struct flock none = wholeFile(F_UNLCK);
    // A handle without access rights has locked nothing.
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
    // The uses that exclude this opener if another opener has them.
    const unsigned notOthers = (toRead ? deniesReading : 0u) | (toWrite ? deniesWriting : 0u) |
                               (sharesReading ? 0u : reads) | (sharesWriting ? 0u : writes);
    // The opener's own uses are locked first, and only then are those of others looked for. If two
    // openers that exclude each other come at the same moment, both may be refused, but never are
    // both granted.
    //
    // A writer locks exclusively each use that nobody else may have at the same time, so that of
    // two writers that share nothing one is granted. All other uses are locked shared, and so are
    // all uses of a reader, because an exclusive lock needs a descriptor that can write.
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
    SetLastError(ERROR_DISK_FULL);  // the kernel took nothing and reported no error
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
