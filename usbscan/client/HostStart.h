#pragma once
// Reaching the host of a device: its socket below <root>/devices/, and starting it where none runs.

#include "platform/descriptor.h"
#include "usbscan/client/AttachedDevices.h"

namespace zlk::platform {

/// A connection to whoever serves the device, closed on exec; one that a host is just about to
/// end may be closed by it before its first byte. Starts the host of a device on the bus where
/// none listens. Empty with the last error; ERROR_FILE_NOT_FOUND if the device is gone.
Descriptor connectToHost(const AttachedDevice& device);

}  // namespace zlk::platform
