#pragma once
// Renames that never replace anything, whatever the file system promises.

#include "platform/files/PathTarget.h"

namespace zlk::platform {

/// Gives an entry its new name, which must be free. False with errno: EEXIST where it is taken.
bool renameOntoNothing(const PathTarget::Entry& from, const PathTarget::Entry& to);

}  // namespace zlk::platform
