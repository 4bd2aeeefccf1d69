#include "platform/settings/RegistryFile.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>
#include <time.h>
#include <unistd.h>

#include <array>

#include "platform/base/Diagnose.h"
#include "platform/base/MachineRoot.h"
#include "platform/base/PosixError.h"
#include "platform/descriptor.h"
#include "platform/settings/RegistryTables.h"

namespace zlk::platform {
namespace {

constexpr char category[] = "Registry";
// The files that SQLite keeps beside a store: the write-ahead log, its index, and the rollback log.
constexpr const char* logSuffixes[] = {"-wal", "-shm", "-journal"};

[[noreturn]] void failFromErrno(int error) {
    const DWORD code = errorFromErrno(error);
    // Callers know one code for a store that may not be written, whether the file system or the
    // mode forbids it.
    throw RegistryFailure{code == ERROR_WRITE_PROTECT ? ERROR_ACCESS_DENIED : code};
}

std::int64_t nanoseconds(const struct statx_timestamp& time) noexcept {
    return time.tv_sec * 1'000'000'000 + time.tv_nsec;
}

std::string folderOf(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash + 1);
}

/// Reads the status of one of the files that make up a store, and checks it. False if the file is
/// missing. Throws RegistryFailure.
bool checkFile(const std::string& path, struct stat& status) {
    if (::lstat(path.c_str(), &status) != 0) {
        if (errno == ENOENT) return false;
        failFromErrno(errno);
    }
    if (!S_ISREG(status.st_mode)) {
        diagnose(category, u"%s is no file", path);
        throw RegistryFailure{ERROR_BADDB};
    }
    if (!MachineRoot::instance().trusts(status, path)) throw RegistryFailure{ERROR_ACCESS_DENIED};
    return true;
}

/// The lock on a folder that a process holds while it makes a store there.
class CreationLock {
  public:
    explicit CreationLock(const std::string& folder)
        : folder_(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
        if (!folder_) failFromErrno(errno);
        constexpr int patience = 5000;  // ms
        for (int waited = 0; ::flock(folder_.get(), LOCK_EX | LOCK_NB) != 0; ++waited) {
            if (errno != EWOULDBLOCK && errno != EINTR) failFromErrno(errno);
            if (waited >= patience) throw RegistryFailure{ERROR_BUSY};
            const timespec pause{0, 1'000'000};
            ::nanosleep(&pause, nullptr);
        }
    }

  private:
    Descriptor folder_;
};

// Writes all bytes, sets the mode, and waits until both are on disk. Throws RegistryFailure.
void writeWhole(int fd, std::span<const BYTE> bytes, mode_t mode) {
    while (!bytes.empty()) {
        const ssize_t done = ::write(fd, bytes.data(), bytes.size());
        if (done < 0 && errno == EINTR) continue;
        if (done <= 0) failFromErrno(done < 0 ? errno : ENOSPC);
        bytes = bytes.subspan(static_cast<std::size_t>(done));
    }
    if (::fchmod(fd, mode) != 0 || ::fsync(fd) != 0) failFromErrno(errno);
}

}  // namespace

FileStamp FileStamp::of(const std::string& path) noexcept {
    struct statx status;
    if (::statx(AT_FDCWD, path.c_str(), 0, STATX_BASIC_STATS | STATX_BTIME, &status) != 0)
        return {};
    return {::makedev(status.stx_dev_major, status.stx_dev_minor), status.stx_ino, status.stx_size,
            nanoseconds(status.stx_btime), nanoseconds(status.stx_ctime)};
}

bool checkStoreFile(const std::string& path) {
    struct stat status;
    if (!checkFile(path, status)) return false;
    if (status.st_size == 0) {
        diagnose(category, u"%s is empty; only when it is moved away, a new one is made", path);
        throw RegistryFailure{ERROR_BADDB};
    }
    for (const char* suffix : logSuffixes) checkFile(path + suffix, status);
    return true;
}

bool mayReadStore(const std::string& path) noexcept {
    return ::faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) == 0;
}

bool mayWriteStore(const std::string& path) noexcept {
    const auto writable = [](const std::string& file) {
        return ::faccessat(AT_FDCWD, file.c_str(), W_OK, AT_EACCESS) == 0;
    };
    try {
        // To write the store one must be able to write its log and index too, or to make them.
        for (const char* suffix : {"", "-wal", "-shm"}) {
            if (writable(path + suffix)) continue;
            if (errno != ENOENT || !writable(folderOf(path))) return false;
        }
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool sharesMemory(const std::string& path) noexcept {
    // The magic numbers of NFS, SMB (three generations), AFS, Coda, Ceph, 9P, Lustre, GPFS,
    // VirtualBox folders, and FUSE, which may stand for anything.
    constexpr std::uint32_t remote[] = {0x6969,     0x517B,     0xFF534D42, 0xFE534D42,
                                        0x5346414F, 0x73757245, 0x00C36400, 0x01021997,
                                        0x0BD00BD0, 0x47504653, 0x786F4256, 0x65735546};
    struct statfs status;
    if (::statfs(path.c_str(), &status) != 0) return false;
    for (const std::uint32_t type : remote)
        if (static_cast<std::uint32_t>(status.f_type) == type) return false;
    return true;
}

void createWholeFile(const std::string& path, std::span<const BYTE> bytes, mode_t mode) {
    const std::string folder = folderOf(path);
    // A file without a name gets its content first, and then a name in one step that fails if the
    // name is taken. A process that is killed before that step leaves nothing behind.
    const Descriptor unnamed(::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
    if (unnamed) {
        writeWhole(unnamed.get(), bytes, mode);
        const std::string source = "/proc/self/fd/" + std::to_string(unnamed.get());
        if (::linkat(AT_FDCWD, source.c_str(), AT_FDCWD, path.c_str(), AT_SYMLINK_FOLLOW) == 0)
            return;
        if (errno != ENOENT && errno != EOPNOTSUPP) failFromErrno(errno);
    } else if (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL) {
        failFromErrno(errno);
    }
    // Where the file system can't do this, a file with a temporary name is renamed.
    std::string temporary = path + ".XXXXXX";
    const Descriptor named(::mkostemp(temporary.data(), O_CLOEXEC));
    if (!named) failFromErrno(errno);
    int error = 0;
    try {
        writeWhole(named.get(), bytes, mode);
        if (::renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) == 0)
            return;
        error = errno;
        // Not every file system has RENAME_NOREPLACE. A hard link fails as well if the name is
        // taken.
        if (error == EINVAL) error = ::link(temporary.c_str(), path.c_str()) == 0 ? 0 : errno;
    } catch (const RegistryFailure&) {
        ::unlink(temporary.c_str());
        throw;
    }
    ::unlink(temporary.c_str());
    if (error) failFromErrno(error);
}

void createStoreFile(const std::string& path, mode_t mode) {
    RegistryDatabase empty;
    createTables(empty);
    std::vector<BYTE> image = empty.image();
    // Bytes 18 and 19 of a store are the versions for writing and reading; 2 means a write-ahead
    // log. They are set here, so that nobody has to convert the new store while others open it.
    if (sharesMemory(folderOf(path))) image.at(18) = image.at(19) = 2;

    const CreationLock lock(folderOf(path));
    if (FileStamp::of(path).exists()) return;
    // The logs of a store that was deleted would be taken for the new one's, so they are removed
    // first. But a log that isn't empty may be the only copy of somebody's settings, so in that
    // case nothing is made.
    for (const char* suffix : logSuffixes) {
        const FileStamp left = FileStamp::of(path + suffix);
        const bool scratch = std::string_view(suffix) == "-shm";
        if (left.exists() && left.size > 0 && !scratch) {
            diagnose(category, u"%s is missing, and its log %s%s holds changes", path, path,
                     suffix);
            throw RegistryFailure{ERROR_BADDB};
        }
    }
    for (const char* suffix : logSuffixes)
        if (::unlink((path + suffix).c_str()) != 0 && errno != ENOENT) failFromErrno(errno);
    try {
        createWholeFile(path, image, mode);
    } catch (const RegistryFailure& failure) {
        // Somebody has put a file there without taking the lock. It stays as it is.
        if (failure.code != ERROR_FILE_EXISTS) throw;
    }
}

}  // namespace zlk::platform
