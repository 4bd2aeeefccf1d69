#include "platform/files/FileMoving.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace zlk::platform {
namespace {

/// Renames a folder on a file system that can't promise to leave an existing target alone. An empty
/// folder is made as the target first, which fails if the name is taken. So the rename replaces
/// only that empty folder. False with errno.
bool renameFolderOntoOwn(const PathTarget::Entry& from, const PathTarget::Entry& to) {
    if (::mkdirat(to.folder.get(), to.name.c_str(), S_IRWXU) != 0) return false;
    if (::renameat(from.folder.get(), from.name.c_str(), to.folder.get(), to.name.c_str()) == 0)
        return true;
    const int error = errno;
    ::unlinkat(to.folder.get(), to.name.c_str(), AT_REMOVEDIR);
    errno = error;
    return false;
}

/// Renames a file by giving it a second name, which fails if that name is taken, and then removing
/// the first name. A kill between the two steps leaves two names of the whole file.
bool renameByLink(const PathTarget::Entry& from, const PathTarget::Entry& to) {
    if (::linkat(from.folder.get(), from.name.c_str(), to.folder.get(), to.name.c_str(), 0) != 0)
        return false;
    // If somebody else has removed the first name meanwhile, the second one is the only one left.
    if (::unlinkat(from.folder.get(), from.name.c_str(), 0) == 0 || errno == ENOENT) return true;
    const int error = errno;
    ::unlinkat(to.folder.get(), to.name.c_str(), 0);
    errno = error;
    return false;
}

/// Renames a file that can't get a second name, as on FAT. Making an empty target first, as for
/// folders, could leave an empty file under a picture's name after a kill. So this only looks
/// whether the name is free. A lock on the target's folder, if it can be had, keeps other calls of
/// this function out of that folder until the rename is done.
bool renameIfFree(const PathTarget::Entry& from, const PathTarget::Entry& to) {
    const Descriptor turn(::openat(to.folder.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (turn) ::flock(turn.get(), LOCK_EX);
    struct stat status;
    if (::fstatat(to.folder.get(), to.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0)
        errno = EEXIST;
    if (errno != ENOENT) return false;
    return ::renameat(from.folder.get(), from.name.c_str(), to.folder.get(), to.name.c_str()) == 0;
}

// Renames on a file system without RENAME_NOREPLACE. False with errno, which is EEXIST for a target
// that exists.
bool renameWithoutPromise(const PathTarget::Entry& from, const PathTarget::Entry& to) {
    struct stat status;
    if (::fstatat(from.folder.get(), from.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return false;
    if (S_ISDIR(status.st_mode)) return renameFolderOntoOwn(from, to);
    if (renameByLink(from, to)) return true;
    const bool hasNoLinks = errno == EPERM || errno == EOPNOTSUPP || errno == ENOSYS ||
                            errno == EINVAL || errno == EMLINK;
    return hasNoLinks && renameIfFree(from, to);
}

}  // namespace

bool renameOntoNothing(const PathTarget::Entry& from, const PathTarget::Entry& to) {
    if (::renameat2(from.folder.get(), from.name.c_str(), to.folder.get(), to.name.c_str(),
                    RENAME_NOREPLACE) == 0)
        return true;
    return (errno == EINVAL || errno == ENOSYS) && renameWithoutPromise(from, to);
}

}  // namespace zlk::platform
