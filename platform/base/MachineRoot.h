#pragma once
// The machine root: the folder whose files make processes one "machine", and the rules about who is
// trusted below it.
//
//     <root>/registry.db     the settings store
//     <root>/devices/        sockets of device hosts
//     <root>/run/            named objects, drive letters, port numbers
//     <root>/tmp/            temporary files
//
// The root is the folder that ZLK_MACHINE names (ignored in set-user-id programs), else
// .local/share/zlkcamtr in the home folder that the user database names. So all processes of a user
// share one machine, unless they name another one. The root is made on first use, for its owner
// alone. A user who can write below the root chooses code that others load. So a root is used only
// if the superuser or the caller owns it and nobody but the owner may write it. The exception is
// the root of a group, such as /var/lib/zlkcamtr: the superuser owns it, its mode is 2770, and its
// group may write it.

#include <sys/stat.h>

#include <string>

#include "platform/types.h"

namespace zlk::platform {

class MachineRoot {
  public:
    /// This process's machine root, determined at the first call and kept by forked children. The
    /// first call may move the root of an earlier version (EarlierRoot.h). It reports to the
    /// diagnostics what became of that root. If the machine root isn't usable, it also reports the
    /// reason. Callable on any thread; the object doesn't change afterwards.
    static const MachineRoot& instance();

    /// False if there is no place for the root, if there is no folder at that place, or if the
    /// folder isn't trusted. folder() then fails with ERROR_ACCESS_DENIED.
    bool usable() const noexcept { return usable_; }
    const std::string& path() const noexcept { return path_; }
    /// Whether the root belongs to a group of users.
    bool ofGroup() const noexcept { return ofGroup_; }
    /// The modes of folders and files that are made below the root.
    mode_t folderMode() const noexcept { return ofGroup_ ? 02770 : 0700; }
    mode_t fileMode() const noexcept { return ofGroup_ ? 0660 : 0600; }

    /// Makes the folder `<root>/<name>` if it is missing, and returns its path; `name` may have
    /// several components. Empty, with the last error, on failure.
    std::string folder(const char* name) const;

    /// Whether a file or folder can be trusted. Its owner has to be the superuser or the caller,
    /// and nobody else may write it. If the machine root belongs to a group, members of that group
    /// may own and write it, too. A refusal is reported to the diagnostics, under the name `path`.
    bool trusts(const struct stat& status, const std::string& path) const;

  private:
    MachineRoot();
    /// Gives the status of what is at `path`, and makes a folder there first if nothing exists.
    /// False with errno.
    bool lookUpOrMake(const std::string& path, struct stat& status) const;
    /// The reason why something isn't trusted; empty if it is.
    std::u16string objectionTo(const struct stat& status) const;
    void refuse(const std::u16string& why);
    std::u16string refusal_;  // for the diagnostics, if the root isn't usable
    std::u16string news_;     // for the diagnostics, about an earlier version's root
    std::string path_;        // absolute; empty if there is no place for a root
    bool usable_ = false;
    bool ofGroup_ = false;  // group_ is trusted as the owner is
    gid_t group_ = 0;
};

}  // namespace zlk::platform
