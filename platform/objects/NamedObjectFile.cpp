#include "platform/objects/NamedObjectFile.h"

#include <errno.h>
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "platform/base/FileLock.h"
#include "platform/base/MachineRoot.h"
#include "platform/base/PosixError.h"
#include "platform/descriptor.h"
#include "platform/error.h"

namespace zlk::platform {
namespace {

constexpr std::int64_t existenceByte = 0;
constexpr std::int64_t ownershipByte = 1;
constexpr std::int64_t gateByte = 2;

// The first bytes of a file, as NamedObjectFile.h documents them.
struct Header {
    char locks[4];
    char kind;
    std::atomic<char> owned;
    char unused[2];
    std::uint64_t sectionSize;
};
static_assert(sizeof(Header) == 16 && std::atomic<char>::is_always_lock_free);

bool fail(DWORD error) {
    SetLastError(error);
    return false;
}

bool failWithErrno() {
    setLastErrorFromErrno();
    return false;
}

/// Switches copy-on-write off for a file. A file system that writes each change to a new place may
/// find the disk full when a process touches a view, and SIGBUS would end that process. Other file
/// systems don't need this, and may refuse it.
void writeInPlace(int fd) {
    int flags = 0;
    if (::ioctl(fd, FS_IOC_GETFLAGS, &flags) != 0) return;
    flags |= FS_NOCOW_FL;
    ::ioctl(fd, FS_IOC_SETFLAGS, &flags);
}

/// Opens the file `path`. If `mayMake`, a missing file is made, with its folders. -1 with the last
/// error.
int openOrMake(const MachineRoot& root, const NamedObjectName& name, const std::string& path,
               bool mayMake) {
    constexpr int flags = O_RDWR | O_NOFOLLOW | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
    // Files of named objects are never unlinked. So if another process makes the file between the
    // two calls, the next round finds it.
    for (int round = 0; round < 10; ++round) {
        int fd = ::open(path.c_str(), flags);
        if (fd >= 0) return fd;
        if (errno == ENOENT && mayMake) {
            if (root.folder(name.folder.c_str()).empty()) return -1;
            fd = ::open(path.c_str(), flags | O_CREAT | O_EXCL, root.fileMode());
            if (fd >= 0) {
                writeInPlace(fd);
                return fd;
            }
        }
        if (errno != EEXIST) break;
    }
    // A symbolic link in the place of the file is refused like a file that others may write.
    SetLastError(errno == ELOOP ? ERROR_ACCESS_DENIED : errorFromErrno(errno));
    return -1;
}

}  // namespace

bool NamedObjectFile::open(const NamedObjectName& name, bool mayMake) {
    const MachineRoot& root = MachineRoot::instance();
    if (!root.usable()) return fail(ERROR_ACCESS_DENIED);
    const std::string path = root.path() + '/' + name.folder + '/' + name.file;
    Descriptor file(openOrMake(root, name, path, mayMake));
    if (!file) return false;
    struct stat status;
    if (::fstat(file.get(), &status) != 0) return failWithErrno();
    if (!S_ISREG(status.st_mode) || !root.trusts(status, path)) return fail(ERROR_ACCESS_DENIED);
    // The umask of the file's maker must not shut the group out. Each opening by the file's owner
    // corrects the mode, since the maker may have been killed before it came here.
    const bool own = root.ofGroup() && status.st_uid == ::geteuid();
    if (own && (status.st_mode & 0777) != root.fileMode()) ::fchmod(file.get(), root.fileMode());
    fd_ = file.release();
    return true;
}

bool NamedObjectFile::openUnnamed() {
    fd_ = ::memfd_create("zlk-unnamed", MFD_CLOEXEC);
    return fd_ >= 0 || failWithErrno();
}

NamedObjectFile& NamedObjectFile::operator=(NamedObjectFile&& other) noexcept {
    std::swap(fd_, other.fd_);
    std::swap(header_, other.header_);
    std::swap(locked_, other.locked_);
    return *this;
}

bool NamedObjectFile::isInPlace() const noexcept {
    struct stat status;
    return ::fstat(fd_, &status) == 0 && status.st_nlink > 0;
}

void NamedObjectFile::unlockAll() noexcept {
    struct flock everything = wholeFile(F_UNLCK);
    if (locked_) ::fcntl(fd_, F_OFD_SETLK, &everything);
    locked_ = false;
}

void NamedObjectFile::close() noexcept {
    if (header_) ::munmap(header_, sizeof(Header));
    header_ = nullptr;
    if (fd_ >= 0) ::close(fd_);
    fd_ = -1;
    locked_ = false;
}

NamedObjectFile::Lock NamedObjectFile::lock(int command, short type, std::int64_t first,
                                            std::int64_t last) noexcept {
    struct flock request {};
    request.l_type = type;
    request.l_whence = SEEK_SET;
    request.l_start = first;
    request.l_len = last - first + 1;
    // locked_ is set even if the request fails: unlocking in vain does no harm, but a lock that
    // stays would.
    if (command != F_OFD_GETLK) locked_ = true;
    int result;
    do {
        result = ::fcntl(fd_, command, &request);
    } while (result != 0 && errno == EINTR);
    if (result != 0 && (errno == EAGAIN || errno == EACCES)) return Lock::Contested;
    if (result != 0) {
        setLastErrorFromErrno();
        return Lock::Failed;
    }
    return command == F_OFD_GETLK && request.l_type != F_UNLCK ? Lock::Contested : Lock::Granted;
}

NamedObjectFile::Lock NamedObjectFile::takeToMake(bool insideGate) noexcept {
    return lock(F_OFD_SETLK, F_WRLCK, existenceByte, insideGate ? ownershipByte : gateByte);
}

NamedObjectFile::Lock NamedObjectFile::tryGate() noexcept {
    return lock(F_OFD_SETLK, F_WRLCK, gateByte, gateByte);
}

NamedObjectFile::Lock NamedObjectFile::askExistence() noexcept {
    return lock(F_OFD_GETLK, F_WRLCK, existenceByte, existenceByte);
}

bool NamedObjectFile::settle(bool owned) noexcept {
    const Lock shared = lock(F_OFD_SETLK, F_RDLCK, existenceByte, existenceByte);
    // Only a foreign program can have the byte locked exclusively now: our processes do that only
    // inside of the gate, which we hold.
    if (shared == Lock::Contested) return fail(ERROR_ACCESS_DENIED);
    return shared == Lock::Granted &&
           lock(F_OFD_SETLK, F_UNLCK, owned ? gateByte : ownershipByte, gateByte) == Lock::Granted;
}

void NamedObjectFile::watchOwner() noexcept {
    constexpr int looks = 1000;
    const std::atomic<char>& owned = mark();
    for (int i = 0; i < looks && owned.load(std::memory_order_relaxed); ++i) {
    }
}

NamedObjectFile::Lock NamedObjectFile::takeOwnership(bool wait) noexcept {
    // Owners mostly hold a mutex for a moment, and sleeping in the kernel costs more than some
    // tries. The mark in shared memory is watched before each try, because looking at it is cheaper
    // than a system call that fails.
    constexpr int triesBeforeSleep = 20;
    for (int i = 0; i < (wait ? triesBeforeSleep : 1); ++i) {
        if (wait) watchOwner();
        const Lock result = lock(F_OFD_SETLK, F_WRLCK, ownershipByte, ownershipByte);
        if (result != Lock::Contested) return result;
    }
    return wait ? lock(F_OFD_SETLKW, F_WRLCK, ownershipByte, ownershipByte) : Lock::Contested;
}

void NamedObjectFile::leaveOwnership() noexcept {
    lock(F_OFD_SETLK, F_UNLCK, ownershipByte, ownershipByte);
}

bool NamedObjectFile::mapMark() noexcept {
    if (header_) return true;
    void* const mapped =
        ::mmap(nullptr, sizeof(Header), PROT_READ | PROT_WRITE, MAP_SHARED, fd_, 0);
    if (mapped == MAP_FAILED) return failWithErrno();
    header_ = mapped;
    return true;
}

std::atomic<char>& NamedObjectFile::mark() noexcept {
    return static_cast<Header*>(header_)->owned;
}

bool NamedObjectFile::layOut(Kind kind, bool owned, std::uint64_t sectionSize) noexcept {
    if (kind == Kind::Section && !reserve(sectionSize)) return false;
    const Header header{{}, static_cast<char>(kind), owned, {}, sectionSize};
    // The file of a mutex that this process made before may have this content already.
    if (header_ && std::memcmp(header_, static_cast<const void*>(&header), sizeof header) == 0)
        return true;
    const ssize_t written = ::pwrite(fd_, &header, sizeof header, 0);
    return written == static_cast<ssize_t>(sizeof header) || failWithErrno();
}

bool NamedObjectFile::reserve(std::uint64_t sectionSize) noexcept {
    struct stat status;
    if (::fstat(fd_, &status) != 0) return failWithErrno();
    const auto size = static_cast<std::int64_t>(sectionSize);
    const std::int64_t end = dataOffset + size;
    // Old content becomes zeros by cutting a hole; on a file system that can't do that, zeros are
    // written over it.
    if (status.st_size > dataOffset && ::fallocate(fd_, FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE,
                                                   dataOffset, status.st_size - dataOffset) != 0) {
        if (errno != EOPNOTSUPP) return failWithErrno();
        static constexpr char zeros[16 * 1024] = {};
        for (std::int64_t at = dataOffset; at < std::min<std::int64_t>(end, status.st_size);) {
            const ssize_t n = ::pwrite(
                fd_, zeros, std::min<std::size_t>(sizeof zeros, static_cast<std::size_t>(end - at)),
                at);
            if (n < 0) return failWithErrno();
            at += n;
        }
    }
    // The space is reserved now: a full disk would otherwise show as SIGBUS at the first use of a
    // page. On a file system without this call only the file's length is set.
    if (::fallocate(fd_, 0, dataOffset, size) == 0) return true;
    if (errno != EOPNOTSUPP) return failWithErrno();
    return status.st_size >= end || ::ftruncate(fd_, end) == 0 || failWithErrno();
}

bool NamedObjectFile::readHeader(Kind kind, std::uint64_t& sectionSize) noexcept {
    Header header{};
    if (::pread(fd_, &header, sizeof header, 0) != static_cast<ssize_t>(sizeof header) ||
        header.kind != static_cast<char>(kind))
        return fail(ERROR_INVALID_HANDLE);
    sectionSize = header.sectionSize;
    return true;
}

std::uint64_t NamedObjectFile::dataSize() const noexcept {
    struct stat status;
    if (::fstat(fd_, &status) != 0 || status.st_size <= dataOffset) return 0;
    return static_cast<std::uint64_t>(status.st_size - dataOffset);
}

}  // namespace zlk::platform
