#pragma once
// Writes back what the system has cached for a drive.

#include "platform/types.h"

namespace zlk {

/// Blocks until everything that was written to the drive is on its medium. False if the volume
/// can't be opened or flushed.
bool FlushDrive(WCHAR driveLetter) noexcept;

}  // namespace zlk
