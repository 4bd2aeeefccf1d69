#pragma once
// Moves the machine root of an earlier version to today's place. Earlier versions had the place
// named by XDG_DATA_HOME, or by HOME where that was unset, so that two processes of one user with
// different environments shared nothing, and could both claim one device.

#include <string>

namespace zlk::platform {

/// Moves the old root, at the place where an earlier version would have made it for this process's
/// environment, to `root`. It stays if something is at `root` already, if a process uses the old
/// root, if that is a link or others than this user may write it, or if the renaming fails. The
/// folder above `root` must exist. Returns a sentence for the diagnostics: that the old root was
/// moved, or that it stays and isn't used any more. Empty if this user has no old root with a
/// settings store, if that is `root` itself, or if another process has just moved it.
std::u16string takeOverEarlierRoot(const std::string& root);

}  // namespace zlk::platform
