#pragma once
// Opens what a path or device name leads to, as CreateFileW does.

#include <memory>

#include "platform/base/Handle.h"

namespace zlk::platform {

/// Gives an object a new handle. INVALID_HANDLE_VALUE for null, which leaves the last error as it
/// is, and if there is no memory (ERROR_NOT_ENOUGH_MEMORY).
HANDLE handleOf(std::shared_ptr<Handle> object);

/// The arguments and the last errors are those of CreateFileW; INVALID_HANDLE_VALUE on failure.
/// Throws std::bad_alloc.
HANDLE openPath(const WCHAR* path, DWORD access, DWORD share, DWORD disposition, DWORD flags);

}  // namespace zlk::platform
