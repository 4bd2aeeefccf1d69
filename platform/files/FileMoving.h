#pragma once
// Renames that don't replace anything, even if the file system doesn't promise that. If it has no
// hard links either, a file that gets the new name at the same moment may be replaced.

#include "platform/files/PathTarget.h"

namespace zlk::platform {

/// Gives an entry its new name, which must be free. False with errno, which is EEXIST if the name
/// is taken.
bool renameOntoNothing(const PathTarget::Entry& from, const PathTarget::Entry& to);

}  // namespace zlk::platform
