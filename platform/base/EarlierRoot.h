#pragma once
// Moves the machine root of an earlier version to today's place. Earlier versions took the place
// from the environment (XDG_DATA_HOME, else HOME), so two processes of one user with different
// environments shared nothing, and could both claim one device.

#include <string>

namespace zlk::platform {

/// Moves the old root to `root`, whose parent folder must exist. The old root is the folder, or the
/// link to a folder, where an earlier version would have made its root for this process's
/// environment. It counts only if this user owns it and it has a settings store. It isn't moved if
/// something is at `root` already, if it is a link, if others than this user may write it, if a
/// process may be using it, or if the renaming fails. Returns a sentence for the diagnostics about
/// what became of the old root; the sentence is empty if there is nothing to report.
std::u16string takeOverEarlierRoot(const std::string& root);

}  // namespace zlk::platform
