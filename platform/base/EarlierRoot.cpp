#include "platform/base/EarlierRoot.h"

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

#include "platform/base/FileLock.h"
#include "platform/descriptor.h"
#include "platform/text.h"

namespace zlk::platform {
namespace {

namespace fs = std::filesystem;

/// An absolute path of the environment of a program that has no more rights than its caller.
std::string pathFromEnvironment(const char* name) {
    const char* path = ::secure_getenv(name);
    return path && *path == '/' ? path : "";
}

/// Empty if the environment names no place.
std::string earlierRoot() {
    std::string data = pathFromEnvironment("XDG_DATA_HOME");
    if (data.empty()) {
        data = pathFromEnvironment("HOME");
        if (data.empty()) return {};
        data += "/.local/share";
    }
    return data + "/zlkcamtr";
}

/// A process that uses a root has a lock on one of its files: the store, a named object, or the one
/// beside the socket of a device. A file that can't be asked counts as locked.
bool isUsed(const std::string& root) {
    std::error_code error;
    for (fs::recursive_directory_iterator entry(root, error), end; entry != end && !error;
         entry.increment(error)) {
        if (!fs::is_regular_file(entry->symlink_status(error))) continue;
        const Descriptor file(
            ::open(entry->path().c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        struct flock lock = wholeFile(F_WRLCK);
        if (!file || ::fcntl(file.get(), F_OFD_GETLK, &lock) != 0 || lock.l_type != F_UNLCK)
            return true;
    }
    return bool(error);
}

}  // namespace

std::u16string takeOverEarlierRoot(const std::string& root) {
    const std::string earlier = earlierRoot();
    struct stat folder, store, present;
    const bool isRoot = !earlier.empty() && ::lstat(earlier.c_str(), &folder) == 0 &&
                        folder.st_uid == ::geteuid() &&
                        ::stat((earlier + "/registry.db").c_str(), &store) == 0;
    if (!isRoot) return {};
    const bool isTaken = ::stat(root.c_str(), &present) == 0;
    if (isTaken && present.st_dev == folder.st_dev && present.st_ino == folder.st_ino) return {};
    // A folder that others may write was never used as one, and a link would lead elsewhere.
    const bool movable = S_ISDIR(folder.st_mode) && !(folder.st_mode & (S_IWGRP | S_IWOTH));
    if (!isTaken && movable && !isUsed(earlier) &&
        ::renameat2(AT_FDCWD, earlier.c_str(), AT_FDCWD, root.c_str(), RENAME_NOREPLACE) == 0)
        return formatText(u"%s was moved to %s", earlier, root);
    // Another process may have moved it at this moment.
    if (::access(earlier.c_str(), F_OK) != 0) return {};
    return formatText(u"%s is not used any more: set ZLK_MACHINE to it, or move it to %s", earlier,
                      root);
}

}  // namespace zlk::platform
