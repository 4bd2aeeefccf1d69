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

constexpr int mostLinks = 40;

/// What can't be asked counts as one.
bool hasAccessList(const Descriptor& folder) {
    const std::string path = "/proc/self/fd/" + std::to_string(folder.get());
    return ::getxattr(path.c_str(), "system.posix_acl_access", nullptr, 0) >= 0 ||
           (errno != ENODATA && errno != EOPNOTSUPP);
}

/// The text of a link that is open; none with errno.
std::optional<fs::path> linkText(const Descriptor& link) {
    char text[PATH_MAX];
    const ssize_t size = ::readlinkat(link.get(), "", text, sizeof text);
    if (size < 0) return std::nullopt;
    return std::string(text, static_cast<std::size_t>(size));
}

class Walk {
  public:
    /// Empty with the last error.
    TrustedFile follow(const std::string& path);

  private:
    /// Puts the names of a path before those that are ahead. False with errno.
    bool takeUp(const fs::path& path);
    /// Looks at the folder in which the walk stands, and from which `entry` is reached.
    bool isKept(const struct stat& entry, const fs::path& place) const;

    Descriptor folder_;
    fs::path place_;               // of that folder
    std::vector<fs::path> ahead_;  // the next name last
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
    const bool isAbove = !S_ISREG(entry.st_mode);
    if (isAbove && (folder.st_mode & S_ISVTX)) {
        // Who may write the folder can exchange nothing in it but what is his own.
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
