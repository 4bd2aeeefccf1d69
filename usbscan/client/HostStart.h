#pragma once
// Connects to the host of a device. A device on the USB bus that has no host gets one.

#include "platform/descriptor.h"
#include "usbscan/client/AttachedDevices.h"

namespace zlk::platform {

/// A connection to the process that serves the device, closed on exec. For a device on the bus, the
/// host is started if none listens; this may block for some seconds while an earlier host ends. A
/// host that was just about to end may close the connection without answering. Empty with the last
/// error: ERROR_FILE_NOT_FOUND if the device isn't on the bus and no process serves it, ERROR_BUSY
/// if an earlier host doesn't end, and others. From any thread.
Descriptor connectToHost(const AttachedDevice& device);

}  // namespace zlk::platform
