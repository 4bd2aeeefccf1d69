#include "tools/zlkcam/unload/RunFolder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <ctime>
#include <vector>

#include "tools/zlkcam/FileSystem.h"
#include "tools/zlkcam/RunName.h"
#include "tools/zlkcam/unload/FileIdentity.h"
#include "tools/zlkcam/unload/PosixFailure.h"

namespace zlk {
namespace {

constexpr std::string_view copyEnding = ".part";

/// The names in a folder; empty if the folder can't be read. No caller minds: leftovers then stay
/// for a later run.
std::vector<std::string> namesIn(int folder) {
    std::vector<std::string> names;
    // The walk gets its own descriptor, because readdir moves the position, which a dup would
    // share.
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

/// Without O_NOFOLLOW, somebody could have us work in another folder by a link of this name.
Descriptor openBelow(int parent, const std::string& name) {
    return Descriptor(
        ::openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

/// Whether the run of a folder is dead. A live run holds the lock of its folder. This function
/// takes the lock, which `folder` then holds until it is closed. Where locks of other computers
/// may not show, see isOnThisMachine(), the folder must also be a day old.
bool isLeftover(int folder) {
    constexpr std::time_t day = 24 * 3600;
    struct stat status {};
    if (::flock(folder, LOCK_EX | LOCK_NB) != 0 || ::fstat(folder, &status) != 0) return false;
    return isOnThisMachine(folder) || status.st_mtime + day < std::time(nullptr);
}

}  // namespace

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
    // Another folder may have got the name before this one was locked.
    if (!folder_ || ::flock(folder_.get(), LOCK_EX | LOCK_NB) != 0 ||
        !isNameOf(parent, name_, folder_.get()).value_or(false)) {
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
    return {folder_.get(), std::move(hidden), std::move(file)};
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
