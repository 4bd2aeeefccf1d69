#pragma once
// Renames a file or folder only if the new name is free. If the file system can't promise that, and
// the file can't get a hard link either, another file that gets the new name at the same moment may
// be replaced.

#include "platform/files/PathTarget.h"

namespace zlk::platform {

/// Gives an entry its new name, which must be free. False with errno, which is EEXIST if the name
/// is taken.
bool renameOntoNothing(const PathTarget::Entry& from, const PathTarget::Entry& to);

}  // namespace zlk::platform
