#pragma once
// Opens a still-image device by its name. A device on the USB bus that has no host gets one first.
// If the settings ask for a recording and none is under way, tries to begin one.

#include <memory>
#include <string_view>

#include "usbscan/client/CameraHandle.h"

namespace zlk::platform {

/// `name` comes without its front `\\.\` or `\\?\`. Null with the last error: ERROR_FILE_NOT_FOUND
/// for a device that isn't attached, ERROR_SHARING_VIOLATION for one that another program has
/// claimed (the trace names the program if it can be found), ERROR_ACCESS_DENIED, and others. From
/// any thread. Blocks for some seconds if an earlier host is ending or another program has claimed
/// the device, and for longer if the host hangs.
std::shared_ptr<CameraHandle> openCamera(std::u16string_view name);

}  // namespace zlk::platform
