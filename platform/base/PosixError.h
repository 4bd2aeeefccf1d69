#pragma once
// Translates errno to last errors.

#include "platform/types.h"

namespace zlk::platform {

/// The last error for a value of errno; ERROR_GEN_FAILURE for one that the table doesn't have.
DWORD errorFromErrno(int error) noexcept;

void setLastErrorFromErrno() noexcept;

}  // namespace zlk::platform
