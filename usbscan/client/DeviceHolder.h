#pragma once
// Which process has a device's node open, as far as this user may look: on a desktop it is often
// a file manager's volume monitor.

#include <sys/types.h>

#include <string>

#include "usbscan/client/AttachedDevices.h"

namespace zlk::platform {

struct DeviceHolder {
    pid_t pid = 0;  ///< 0: none was found
    std::string program;
};

/// Hosts of ours aren't meant, and not found.
DeviceHolder findHolderOf(const AttachedDevice& device);

}  // namespace zlk::platform
