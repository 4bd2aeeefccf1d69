#include "tools/zlkcam/unload/HiddenCopy.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <map>
#include <utility>
#include <vector>

#include "tools/zlkcam/FileSystem.h"
#include "tools/zlkcam/unload/FileIdentity.h"
#include "tools/zlkcam/unload/PosixFailure.h"

namespace zlk {
namespace {

/// Moves without replacing, on file systems that don't support RENAME_NOREPLACE. A hard link fails
/// if the name is taken. Without hard links (FAT) the only way is to look before the move: a lock
/// makes two runs of ours wait for each other, but a file that a foreign program creates in between
/// would be lost.
bool moveByLooking(int from, const std::string& name, int to, const std::string& newName) {
    if (::linkat(from, name.c_str(), to, newName.c_str(), 0) == 0) {
        // The copy has its name now, even if the hidden one can't be removed.
        ::unlinkat(from, name.c_str(), 0);
        return true;
    }
    if (errno == EEXIST) return false;
    const Descriptor lock(::openat(to, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (lock) ::flock(lock.get(), LOCK_EX);
    struct stat status {};
    if (::fstatat(to, newName.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0) {
        errno = EEXIST;
        return false;
    }
    return errno == ENOENT && ::renameat(from, name.c_str(), to, newName.c_str()) == 0;
}

void flushOne(const HiddenCopy& copy) {
    if (::fsync(copy.file()) != 0) throwPosix("Writing the copies through to the disk");
}

/// Waits until the bytes of files that lie on one file system are on its disk.
void flushDisk(std::span<const HiddenCopy* const> copies) {
    // One syncfs for all files is much faster than an fsync for each. But syncfs doesn't make every
    // file system empty the disk's own write cache, which fsync does: so one file is flushed by
    // fsync afterwards.
    const bool isWhole = copies.size() > 1 && isFlushedAsAWhole(copies.front()->file()) &&
                         ::syncfs(copies.front()->file()) == 0;
    if (isWhole) return flushOne(*copies.back());
    for (const HiddenCopy* const copy : copies) flushOne(*copy);
}

}  // namespace

HiddenCopy::HiddenCopy(int home, std::string name, Descriptor file)
    : home_(home), name_(std::move(name)), file_(std::move(file)) {}

HiddenCopy::HiddenCopy(HiddenCopy&& other) noexcept
    : home_(other.home_), name_(std::exchange(other.name_, {})), file_(std::move(other.file_)) {}

HiddenCopy& HiddenCopy::operator=(HiddenCopy&& other) noexcept {
    std::swap(home_, other.home_);
    std::swap(name_, other.name_);
    std::swap(file_, other.file_);
    return *this;
}

HiddenCopy::~HiddenCopy() {
    if (!name_.empty()) ::unlinkat(home_, name_.c_str(), 0);
}

std::string HiddenCopy::path() const {
    return "/proc/self/fd/" + std::to_string(file_.get());
}

bool HiddenCopy::moveTo(int folder, const std::string& name) {
    bool isMoved = ::renameat2(home_, name_.c_str(), folder, name.c_str(), RENAME_NOREPLACE) == 0;
    // These errors mean that the file system doesn't know the flag, not that the move failed.
    if (!isMoved && (errno == EINVAL || errno == ENOSYS || errno == ENOTSUP))
        isMoved = moveByLooking(home_, name_, folder, name);
    if (isMoved) name_.clear();
    return isMoved;
}

void flushCopies(std::span<HiddenCopy* const> copies) {
    // Other disks may be mounted below a destination, and a flush reaches one disk only.
    std::map<dev_t, std::vector<const HiddenCopy*>> disks;
    for (const HiddenCopy* const copy : copies) {
        if (const auto identity = identityOf(copy->file()))
            disks[identity->device].push_back(copy);
        else
            flushOne(*copy);
    }
    for (const auto& [number, together] : disks) flushDisk(together);
}

}  // namespace zlk
