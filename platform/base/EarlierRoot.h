#pragma once
// Moves the machine root of an earlier version to today's place. Earlier versions took the place
// from the environment (XDG_DATA_HOME, else HOME), so two processes of one user with different
// environments shared nothing, and could both claim one device.

#include <string>

namespace zlk::platform {

/// Moves the old root to `root`, whose parent folder must exist. The old root is the folder, or the
/// link to a folder, where an earlier version would have made its root for this process's
/// environment. It counts only if this user owns it and it has a settings store. The old root stays
/// if something is at `root` already, if a process uses the old root or that can't be found out, if
/// it is a link, if others than this user may write it, or if the renaming fails. Returns a
/// sentence for the diagnostics, which says that the old root was moved, or that it stays and isn't
/// used any more. The sentence is empty if there is no old root, if it is `root` itself and no
/// link, or if another process has just moved it.
std::u16string takeOverEarlierRoot(const std::string& root);

}  // namespace zlk::platform
