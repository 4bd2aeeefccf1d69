#pragma once
// From errno to last errors: the one table of it.

#include "platform/types.h"

namespace zlk::platform {

DWORD errorFromErrno(int error) noexcept;

/// Sets the last error that stands for errno.
void setLastErrorFromErrno() noexcept;

}  // namespace zlk::platform
