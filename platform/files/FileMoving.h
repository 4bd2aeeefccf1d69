#pragma once
// Renames that don't replace anything, even if the file system doesn't promise that. On a file
// system that has no hard links either, this holds only against other movers of ours.

#include "platform/files/PathTarget.h"

namespace zlk::platform {

/// Gives an entry its new name, which must be free. False with errno: EEXIST where it is taken.
bool renameOntoNothing(const PathTarget::Entry& from, const PathTarget::Entry& to);

}  // namespace zlk::platform
