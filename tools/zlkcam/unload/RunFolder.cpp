#include "tools/zlkcam/unload/RunFolder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <vector>

#include "platform/files.h"
#include "platform/text.h"
#include "tools/zlkcam/FileSystem.h"
#include "tools/zlkcam/RunName.h"
#include "tools/zlkcam/unload/PosixFailure.h"

namespace zlk {
namespace {

constexpr std::string_view copyEnding = ".part";

/// The names in a folder; empty if it can't be read. No caller minds: it only means that leftovers
/// stay for a later run.
std::vector<std::string> namesIn(int folder) {
    std::vector<std::string> names;
    // A descriptor of its own, because readdir moves the position, which a dup would share.
    const int again = ::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR* const walk = again < 0 ? nullptr : ::fdopendir(again);
    if (!walk) {
        if (again >= 0) ::close(again);
        return names;
    }
    while (const dirent* entry = ::readdir(walk)) names.emplace_back(entry->d_name);
    ::closedir(walk);
    return names;
}

void removeFrom(int folder, std::string_view ending) noexcept try {
    for (const std::string& name : namesIn(folder))
        if (name.ends_with(ending)) ::unlinkat(folder, name.c_str(), 0);
} catch (const std::bad_alloc&) {
    return;  // the files stay, and a later run removes them
}

/// O_NOFOLLOW: a link of this name would let somebody have us work in another folder.
Descriptor openBelow(int parent, const std::string& name) {
    return Descriptor(
        ::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

/// Whether the run of a folder is dead. A live run holds the lock; this takes it, and `folder`
/// keeps it until it is closed. Locks of other computers aren't visible on every network file
/// system, so that there the folder must also be a day old.
bool isLeftover(int folder) {
    constexpr std::time_t day = 24 * 3600;
    struct stat status {};
    if (::flock(folder, LOCK_EX | LOCK_NB) != 0 || ::fstat(folder, &status) != 0) return false;
    return isOnThisMachine(folder) || status.st_mtime + day < std::time(nullptr);
}

bool isSame(const struct stat& a, const struct stat& b) {
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

/// Moves without replacing, on file systems that don't support RENAME_NOREPLACE. A hard link fails
/// if the name is taken. Without hard links (FAT) the only way is to look before the move: a lock
/// makes two runs of ours wait for each other, but a file that a foreign program creates in between
/// would be lost.
bool moveByLooking(int from, const std::string& name, int to, const std::string& newName) {
    if (::linkat(from, name.c_str(), to, newName.c_str(), 0) == 0)
        return ::unlinkat(from, name.c_str(), 0) == 0;
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

}  // namespace

HiddenCopy::HiddenCopy(const RunFolder& home, std::string name, Descriptor file)
    : home_(&home), name_(std::move(name)), file_(std::move(file)) {}

HiddenCopy::HiddenCopy(HiddenCopy&& other) noexcept
    : home_(other.home_), name_(std::exchange(other.name_, {})), file_(std::move(other.file_)) {}

HiddenCopy& HiddenCopy::operator=(HiddenCopy&& other) noexcept {
    std::swap(home_, other.home_);
    std::swap(name_, other.name_);
    std::swap(file_, other.file_);
    return *this;
}

HiddenCopy::~HiddenCopy() {
    if (!name_.empty()) ::unlinkat(home_->folder(), name_.c_str(), 0);
}

std::string HiddenCopy::path() const {
    return "/proc/self/fd/" + std::to_string(file_.get());
}

bool HiddenCopy::moveTo(int folder, const std::string& name) {
    bool isMoved =
        ::renameat2(home_->folder(), name_.c_str(), folder, name.c_str(), RENAME_NOREPLACE) == 0;
    // These errors mean that the file system doesn't know the flag, not that the move failed.
    if (!isMoved && (errno == EINVAL || errno == ENOSYS || errno == ENOTSUP))
        isMoved = moveByLooking(home_->folder(), name_, folder, name);
    if (isMoved) name_.clear();
    return isMoved;
}

std::optional<bool> HiddenCopy::isAt(int folder, const std::string& name) const {
    struct stat own {
    }, there{};
    if (::fstat(file_.get(), &own) != 0) return std::nullopt;
    if (::fstatat(folder, name.c_str(), &there, AT_SYMLINK_NOFOLLOW) == 0)
        return isSame(own, there);
    return errno == ENOENT ? std::optional(false) : std::nullopt;
}

RunFolder::RunFolder(int parent, const std::string& shown)
    : parent_(::openat(parent, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)), shown_(shown) {
    // Between creation and locking another run may take the folder for a leftover and remove it.
    // Three attempts are enough unless something else is wrong.
    for (int attempts = 3; attempts > 0 && parent_; --attempts)
        if (tryToMake(parent_.get())) return;
    throwPosix("Making a folder in " + shown_);
}

bool RunFolder::tryToMake(int parent) {
    name_ = newRunName();
    if (::mkdirat(parent, name_.c_str(), 0700) != 0) return false;
    folder_ = openBelow(parent, name_);
    struct stat own {
    }, there{};
    // The comparison shows that the name still leads to the folder that was locked.
    if (!folder_ || ::flock(folder_.get(), LOCK_EX | LOCK_NB) != 0 ||
        ::fstat(folder_.get(), &own) != 0 ||
        ::fstatat(parent, name_.c_str(), &there, AT_SYMLINK_NOFOLLOW) != 0 || !isSame(own, there)) {
        const int reason = errno;
        // The name may be another's by now, but only an empty folder is removed.
        ::unlinkat(parent, name_.c_str(), AT_REMOVEDIR);
        errno = reason;
        return false;
    }
    return true;
}

RunFolder::~RunFolder() {
    finish();
}

void RunFolder::finish() const noexcept {
    if (isKept_) return;
    removeFrom(folder_.get(), "");
    ::unlinkat(parent_.get(), name_.c_str(), AT_REMOVEDIR);
}

/// The journal in the folder has another ending and stays.
void RunFolder::removeCopies() const noexcept {
    removeFrom(folder_.get(), copyEnding);
}

HiddenCopy RunFolder::make(std::string_view name) {
    std::string hidden = std::to_string(++made_) + "-";
    hidden.append(name).append(copyEnding);
    Descriptor file(::openat(folder_.get(), hidden.c_str(),
                             O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666));
    if (!file) throwPosix("Making a file in " + shown_);
    return {*this, std::move(hidden), std::move(file)};
}

void RunFolder::sweep(int parent, const std::function<bool(int folder)>& taken) {
    for (const std::string& name : namesIn(parent)) {
        if (!isRunName(name)) continue;
        const Descriptor folder = openBelow(parent, name);
        // isLeftover leaves the lock held until `folder` is closed, so two runs can't sweep one
        // folder.
        if (!folder || !isLeftover(folder.get()) || !taken(folder.get())) continue;
        removeFrom(folder.get(), "");
        ::unlinkat(parent, name.c_str(), AT_REMOVEDIR);
    }
}

}  // namespace zlk
