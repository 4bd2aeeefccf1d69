#pragma once
// Moves the machine root of an earlier version to today's place. Earlier versions let
// XDG_DATA_HOME, and then HOME, name that place, so that two processes of one user with different
// environments shared nothing, and could both claim one device.

#include <string>

namespace zlk::platform {

/// Moves the root that an earlier version made for this process's environment to `root`, if nothing
/// is at `root` yet and no process uses the old one. The folder above `root` must exist. Returns a
/// sentence for the diagnostics about the move, or about why the old root stays; empty if this user
/// has no old root, or it has no settings store.
std::u16string takeOverEarlierRoot(const std::string& root);

}  // namespace zlk::platform
