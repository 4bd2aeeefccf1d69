#pragma once
// The folder that makes processes one machine, and who may be trusted below it.
//
//     <root>/registry.db     the settings store
//     <root>/devices/        sockets of device hosts
//     <root>/run/            named objects, drive letters, port numbers
//     <root>/tmp/            the user's temporary files
//
// The root is ZLK_MACHINE (not looked at in set-user-id programs), else .local/share/zlkcamtr in
// the home folder that the user database names: all processes of a user are on one machine,
// whatever their environment. It is made on first use, for its owner alone. A root in
// /var/lib/zlkcamtr with mode 2770 belongs to a group. Whoever writes below it chooses code that
// others load, so a root that anybody else may write is refused.

#include <sys/stat.h>

#include <string>

#include "platform/types.h"

namespace zlk::platform {

class MachineRoot {
  public:
    /// This process's machine; found out once. A forked child keeps it.
    static const MachineRoot& instance();

    /// False if the folder can't be made or isn't trusted: everything below then fails with
    /// ERROR_ACCESS_DENIED.
    bool usable() const noexcept { return usable_; }
    const std::string& path() const noexcept { return path_; }
    bool ofGroup() const noexcept { return ofGroup_; }
    /// Modes of what is made below the root.
    mode_t folderMode() const noexcept { return ofGroup_ ? 02770 : 0700; }
    mode_t fileMode() const noexcept { return ofGroup_ ? 0660 : 0600; }

    /// `<root>/<name>`, made if missing; empty, with the last error, where that fails. `name` may
    /// have several components.
    std::string folder(const char* name) const;

    /// Whether nobody but root, the caller and, below a group's root, its group may write this.
    /// Says what it refuses through the diagnostics.
    bool trusts(const struct stat& status, const std::string& path) const;

  private:
    MachineRoot();
    /// False with errno.
    bool lookUpOrMake(const std::string& path, struct stat& status) const;
    /// Why this isn't trusted; empty if it is.
    std::u16string objectionTo(const struct stat& status) const;
    void refuse(const std::u16string& why);
    std::u16string refusal_;  // which root isn't usable, and why
    std::u16string news_;     // of a root of an earlier version
    std::string path_;
    bool usable_ = false;
    bool ofGroup_ = false;
    gid_t group_ = 0;
};

}  // namespace zlk::platform
