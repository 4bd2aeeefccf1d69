#include "platform/internal/FileHandle.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>

#include "platform/files.h"
#include "platform/internal/FileLock.h"
#include "platform/internal/PosixError.h"

namespace zlk::platform {
namespace {

constexpr off_t sharingByte = off_t{1} << 62;
constexpr std::int64_t ticksPerSecond = 10'000'000;  // of 100 ns
constexpr std::int64_t secondsFrom1601To1970 = 11'644'473'600;

timespec timeOf(const FILETIME& time) noexcept {
    const auto ticks =
        static_cast<std::int64_t>(std::uint64_t{time.dwHighDateTime} << 32 | time.dwLowDateTime);
    return {ticks / ticksPerSecond - secondsFrom1601To1970, ticks % ticksPerSecond * 100};
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
    if (opener_ == ::getpid()) ::fcntl(file_.get(), F_OFD_SETLK, &none);
}

bool FileHandle::allows(DWORD right) const {
    if (access_ & right) return true;
    SetLastError(ERROR_ACCESS_DENIED);
    return false;
}

bool FileHandle::claim(DWORD share) {
    if (access_ == 0) return true;
    struct flock lock {};
    lock.l_type = share == 0 && (access_ & GENERIC_WRITE) ? F_WRLCK : F_RDLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = sharingByte;
    lock.l_len = 1;
    if (::fcntl(file_.get(), F_OFD_SETLK, &lock) == 0) return true;
    if (errno != EAGAIN && errno != EACCES) return true;
    SetLastError(ERROR_SHARING_VIOLATION);
    return false;
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
