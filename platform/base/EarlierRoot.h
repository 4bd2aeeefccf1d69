#pragma once
// Moves the machine root of an earlier version to today's place. Earlier versions let
// XDG_DATA_HOME, and then HOME, name that place, so that two processes of one user with different
// environments shared nothing, and could both claim one device.

#include <string>

namespace zlk::platform {

/// Moves the root that an earlier version made for this process's environment to `root`, if nothing
/// is at `root` yet, no process uses the old one, and that is a folder (no link) which only this
/// user may write. The folder above `root` must exist. Returns a sentence for the diagnostics: that
/// the old root was moved, or that it stays and isn't used any more. Empty if this user has no old
/// root with a settings store, if that is `root` itself, or if another process has just moved it.
std::u16string takeOverEarlierRoot(const std::string& root);

}  // namespace zlk::platform
