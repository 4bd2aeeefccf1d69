#pragma once
// Finds out which foreign program has a device's node open, as far as this user may look. On a
// desktop it is often a file manager's volume monitor.

#include <sys/types.h>

#include <string>

#include "usbscan/client/AttachedDevices.h"

namespace zlk::platform {

struct DeviceHolder {
    pid_t pid = 0;  ///< 0: none was found
    std::string program;
};

/// Looks through /proc, and skips our own hosts.
DeviceHolder findHolderOf(const AttachedDevice& device);

}  // namespace zlk::platform
