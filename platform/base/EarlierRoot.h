#pragma once
// Earlier versions let XDG_DATA_HOME, and then HOME, name the place of the machine root, so that
// two processes of one user could be on two machines, and both claim one device.

#include <string>

namespace zlk::platform {

/// Moves the root that an earlier version made for this process's environment to `root`, if nothing
/// is there yet and nobody uses it; the folder above must be there. Gives a sentence about it,
/// also where it stays; empty where there is none of this user's, or nothing in it.
std::u16string takeOverEarlierRoot(const std::string& root);

}  // namespace zlk::platform
