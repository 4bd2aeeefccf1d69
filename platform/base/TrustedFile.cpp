#include "platform/base/TrustedFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <cerrno>
#include <climits>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <optional>
#include <utility>
#include <vector>

#include "platform/base/MachineRoot.h"
#include "platform/base/PosixError.h"
#include "platform/base/UserDatabase.h"
#include "platform/error.h"

namespace zlk::platform {
namespace {

namespace fs = std::filesystem;

// As many symbolic links on one path as the kernel itself follows.
constexpr int mostLinks = 40;

/// Whether a folder has a POSIX access control list. If that can't be found out, the folder counts
/// as having one, since a list may give rights that the mode doesn't show.
bool hasAccessList(const Descriptor& folder) {
    const std::string path = "/proc/self/fd/" + std::to_string(folder.get());
    return ::getxattr(path.c_str(), "system.posix_acl_access", nullptr, 0) >= 0 ||
           (errno != ENODATA && errno != EOPNOTSUPP);
}

/// The target of a symbolic link that is open with O_PATH; none with errno.
std::optional<fs::path> linkText(const Descriptor& link) {
    char text[PATH_MAX];
    const ssize_t size = ::readlinkat(link.get(), "", text, sizeof text);
    if (size < 0) return std::nullopt;
    return std::string(text, static_cast<std::size_t>(size));
}

// Follows one path, component by component, through open descriptors.
class Walk {
  public:
    /// Returns the file at the end of the path; empty with the last error.
    TrustedFile follow(const std::string& path);

  private:
    /// Adds the names of a path, or of a link's target, before those that are still ahead. An
    /// absolute path sends the walk back to `/`. False with errno.
    bool takeUp(const fs::path& path);
    /// Whether only those who are trusted can replace `entry`, whose path is `place`, in the folder
    /// in which the walk stands. A refusal is reported to the diagnostics.
    bool isKept(const struct stat& entry, const fs::path& place) const;

    Descriptor folder_;            // where the walk stands
    fs::path place_;               // path of folder_
    std::vector<fs::path> ahead_;  // names still to follow, in reverse order
};

TrustedFile Walk::follow(const std::string& path) {
    const auto fail = [](DWORD error) {
        SetLastError(error);
        return TrustedFile();
    };
    if (!path.starts_with('/')) return fail(ERROR_PATH_NOT_FOUND);
    if (!takeUp(path)) return fail(errorFromErrno(errno));
    for (int links = 0; !ahead_.empty();) {
        const fs::path name = std::move(ahead_.back());
        ahead_.pop_back();
        // O_PATH opens the entry itself, so that what is checked is also what the walk goes on
        // from: a rename in between can't exchange it.
        Descriptor entry(::openat(folder_.get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        struct stat status;
        if (!entry || ::fstat(entry.get(), &status) != 0) return fail(errorFromErrno(errno));
        fs::path place = name == ".." ? place_.parent_path() : place_ / name;
        if (!isKept(status, place)) return fail(ERROR_ACCESS_DENIED);
        if (S_ISREG(status.st_mode) && ahead_.empty()) {
            if (!MachineRoot::instance().trusts(status, place)) return fail(ERROR_ACCESS_DENIED);
            return {std::move(entry), place};
        }
        if (S_ISLNK(status.st_mode)) {
            if (++links > mostLinks) return fail(ERROR_PATH_NOT_FOUND);
            const std::optional<fs::path> text = linkText(entry);
            if (!text || !takeUp(*text)) return fail(errorFromErrno(errno));
        } else {
            folder_ = std::move(entry);
            place_ = std::move(place);
        }
    }
    return fail(ERROR_FILE_NOT_FOUND);
}

bool Walk::takeUp(const fs::path& path) {
    if (path.is_absolute()) {
        folder_ = Descriptor(::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC));
        if (!folder_) return false;
        place_ = "/";
    }
    const std::vector<fs::path> names(path.begin(), path.end());
    std::copy_if(names.rbegin(), names.rend(), std::back_inserter(ahead_),
                 [](const fs::path& name) {
                     return !name.empty() && name != "." && !name.has_root_directory();
                 });
    return true;
}

bool Walk::isKept(const struct stat& entry, const fs::path& place) const {
    const MachineRoot& root = MachineRoot::instance();
    struct stat folder;
    if (::fstat(folder_.get(), &folder) != 0) return false;
    // Folders on the way may be more open than the folder with the file itself.
    const bool isAbove = !S_ISREG(entry.st_mode);
    if (isAbove && (folder.st_mode & S_ISVTX)) {
        // In a sticky folder such as /tmp, only the owner of an entry and the owner of the folder
        // can rename or delete the entry. So the write permissions don't matter, but both owners
        // have to be trusted.
        folder.st_mode &= ~mode_t{S_IWGRP | S_IWOTH};
        struct stat owner = entry;
        owner.st_mode &= S_IFMT;
        if (!root.trusts(owner, place)) return false;
    } else if (isAbove && (folder.st_mode & S_IWGRP) && isPrivateGroup(folder.st_gid) &&
               !hasAccessList(folder_)) {
        folder.st_mode &= ~mode_t{S_IWGRP};
    }
    return root.trusts(folder, place_);
}

}  // namespace

TrustedFile openTrusted(const std::string& path) {
    return Walk().follow(path);
}

}  // namespace zlk::platform
