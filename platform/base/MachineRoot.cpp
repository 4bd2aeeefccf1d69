#include "platform/base/MachineRoot.h"

#include <errno.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "platform/base/Diagnose.h"
#include "platform/base/EarlierRoot.h"
#include "platform/base/PosixError.h"
#include "platform/base/UserDatabase.h"
#include "platform/error.h"
#include "platform/text.h"

namespace zlk::platform {
namespace {

constexpr char category[] = "MachineRoot";

/// The path in absolute form, because the process may change its current folder later; empty if
/// that folder can't be found out now.
std::string absolutePath(const std::string& path) {
    std::error_code error;
    std::filesystem::path absolute = std::filesystem::absolute(path, error).lexically_normal();
    if (!absolute.has_filename()) absolute = absolute.parent_path();
    return error ? std::string() : absolute.string();
}

/// Makes a folder and those that are missing above it; 0 or an errno. Something else in the place
/// of the folder is no error.
int makeFolders(const std::string& path, mode_t mode) {
    if (::mkdir(path.c_str(), mode) == 0 || errno == EEXIST) return 0;
    if (errno != ENOENT) return errno;
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos || slash == 0) return ENOENT;
    if (const int error = makeFolders(path.substr(0, slash), mode)) return error;
    return ::mkdir(path.c_str(), mode) == 0 || errno == EEXIST ? 0 : errno;
}

}  // namespace

const MachineRoot& MachineRoot::instance() {
    static const MachineRoot root;
    // The outcome is reported once in a process, and only after the constructor has returned:
    // reporting may lead back here, which mustn't happen while `root` is being initialized.
    static std::atomic_flag said;
    if (!said.test() && !said.test_and_set()) {
        if (!root.news_.empty()) diagnose("EarlierRoot", u"%s", root.news_);
        if (!root.usable_) diagnose(category, u"%s", root.refusal_);
    }
    return root;
}

MachineRoot::MachineRoot() {
    const char* const named = ::secure_getenv("ZLK_MACHINE");
    if (named && *named) {
        path_ = absolutePath(named);
    } else if (const std::string home = homeFolder(); home.starts_with('/')) {
        path_ = absolutePath(home + "/.local/share/zlkcamtr");
        if (makeFolders(path_.substr(0, path_.rfind('/')), 0700) == 0)
            news_ = takeOverEarlierRoot(path_);
    }
    if (path_.empty()) {
        refusal_ = u"there is neither ZLK_MACHINE nor a home folder in the user database";
        return;
    }
    int error = makeFolders(path_, 0700);
    struct stat status {};
    if (!error && ::stat(path_.c_str(), &status) != 0) error = errno;
    if (!error && !S_ISDIR(status.st_mode)) error = ENOTDIR;
    if (error) {
        refuse(wideText(std::generic_category().message(error)));
        return;
    }
    // A group may share the root only if the superuser owns it and its mode is 2770. Any other root
    // that a group may write is taken for an oversight and refused.
    ofGroup_ = status.st_uid == 0 && (status.st_mode & 02777) == 02770;
    group_ = status.st_gid;
    const std::u16string objection = objectionTo(status);
    usable_ = objection.empty();
    if (!usable_) refuse(objection);
}

void MachineRoot::refuse(const std::u16string& why) {
    refusal_ = formatText(u"%s is not used: %s", path_, why);
}

std::u16string MachineRoot::objectionTo(const struct stat& status) const {
    const bool groupOwns = ofGroup_ && status.st_gid == group_;
    if (status.st_uid != 0 && status.st_uid != ::geteuid() && !groupOwns)
        return formatText(u"it belongs to user %u", status.st_uid);
    if (status.st_mode & S_IWOTH) return u"everybody may write it";
    // This bit also covers an access control list, whose mask stands in the place of the group's
    // rights.
    if ((status.st_mode & S_IWGRP) && !groupOwns)
        return formatText(u"group %u may write it", status.st_gid);
    return {};
}

bool MachineRoot::trusts(const struct stat& status, const std::string& path) const {
    const std::u16string objection = objectionTo(status);
    if (objection.empty()) return true;
    diagnose(category, u"%s is not trusted: %s", path, objection);
    return false;
}

std::string MachineRoot::folder(const char* name) const {
    if (!usable_) {
        SetLastError(ERROR_ACCESS_DENIED);
        return {};
    }
    std::string path = path_;
    // Each component is checked on its own, since any folder that others may write would let them
    // replace what lies below it.
    for (std::string_view rest = name; !rest.empty();) {
        const std::string_view component = rest.substr(0, rest.find('/'));
        rest.remove_prefix(std::min(component.size() + 1, rest.size()));
        path.append(1, '/').append(component);
        struct stat status;
        if (!lookUpOrMake(path, status)) {
            setLastErrorFromErrno();
            return {};
        }
        if (!S_ISDIR(status.st_mode)) {
            SetLastError(ERROR_DIRECTORY);
            return {};
        }
        if (!trusts(status, path)) {
            SetLastError(ERROR_ACCESS_DENIED);
            return {};
        }
    }
    return path;
}

bool MachineRoot::lookUpOrMake(const std::string& path, struct stat& status) const {
    // The folder nearly always exists already, so the cheap call comes first.
    if (::lstat(path.c_str(), &status) == 0) return true;
    if (errno != ENOENT) return false;
    // mkdir() applies the process's umask, which must not shut the group out of its folder.
    if (::mkdir(path.c_str(), folderMode()) == 0)
        ::chmod(path.c_str(), folderMode());
    else if (errno != EEXIST)
        return false;
    return ::lstat(path.c_str(), &status) == 0;
}

}  // namespace zlk::platform
