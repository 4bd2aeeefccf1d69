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

/// The environment variable `name` if it is an absolute path; empty otherwise. In a set-user-id
/// program every variable counts as unset, because the program's caller chose it.
std::string pathFromEnvironment(const char* name) {
    const char* path = ::secure_getenv(name);
    return path && *path == '/' ? path : "";
}

/// Where an earlier version would have put the machine root; empty if the environment names no
/// place.
std::string earlierRoot() {
    std::string data = pathFromEnvironment("XDG_DATA_HOME");
    if (data.empty()) {
        data = pathFromEnvironment("HOME");
        if (data.empty()) return {};
        data += "/.local/share";
    }
    return data + "/zlkcamtr";
}

/// Whether some process uses a root, as the locks on the files in it show. If a file can't be asked
/// for its locks, or a folder can't be listed, the root counts as used: moving a root that is in
/// use would split the machine in two.
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
    // A folder with a settings store counts as a root only if this user owns it, or owns the link
    // that stands in its place.
    const bool isRoot = !earlier.empty() && ::lstat(earlier.c_str(), &folder) == 0 &&
                        folder.st_uid == ::geteuid() &&
                        ::stat((earlier + "/registry.db").c_str(), &store) == 0;
    if (!isRoot) return {};
    const bool isTaken = ::stat(root.c_str(), &present) == 0;
    // The environment names the place that is used today: there is nothing to move.
    if (isTaken && present.st_dev == folder.st_dev && present.st_ino == folder.st_ino) return {};
    // Others may have put anything into a folder that they may write. Renaming a link would move
    // the link and not the folder.
    const bool movable = S_ISDIR(folder.st_mode) && !(folder.st_mode & (S_IWGRP | S_IWOTH));
    if (!isTaken && movable && !isUsed(earlier) &&
        ::renameat2(AT_FDCWD, earlier.c_str(), AT_FDCWD, root.c_str(), RENAME_NOREPLACE) == 0)
        return formatText(u"%s was moved to %s", earlier, root);
    // If the old root is gone now, another process has probably just moved it, and reports that.
    if (::access(earlier.c_str(), F_OK) != 0) return {};
    return formatText(u"%s is not used any more: set ZLK_MACHINE to it, or move it to %s", earlier,
                      root);
}

}  // namespace zlk::platform
