#pragma once
// Keeps copies off the device that is unloaded. A copy there would be lost with the device, and the
// original could be taken for its own copy and be deleted.

#include <optional>
#include <string>
#include <vector>

#include "tools/zlkcam/unload/FileIdentity.h"
#include "tools/zlkcam/unload/PlaceOnDisk.h"

namespace zlk {

/// Tells whether a folder or a file lies on the device that is unloaded, by whatever links or
/// mounts it was reached. Nothing lies on a camera. Thread-safe.
class DeviceRoot {
  public:
    /// `path` is the root folder of the device, empty for a camera. Throws Failure (NotConnected)
    /// if it can't be looked at.
    explicit DeviceRoot(const std::u16string& path);

    /// Returns what wayFrom() gives for an open folder, whose name for messages is `shown`. Throws
    /// Failure (FileUnusable), also if the folder lies on the device.
    std::vector<FileIdentity> requireElsewhere(int folder, const std::string& shown) const;
    /// Whether an open file lies on the device; none with errno if that can't be found out.
    std::optional<bool> holds(int file) const;

  private:
    /// Whether an open folder, from which `way` leads to the root, lies on the device.
    bool holds(int folder, const std::vector<FileIdentity>& way) const;

    std::optional<FileIdentity> identity_;  // none for a camera
    std::optional<PlaceOnDisk> place_;      // of the device's root; none if it isn't known
};

}  // namespace zlk
