#pragma once

#include "platform/types.h"

namespace zlk {

/// Waits until all that was written to the drive is on its medium. False where the volume can't
/// be opened or flushed.
bool FlushDrive(WCHAR driveLetter) noexcept;

}  // namespace zlk
