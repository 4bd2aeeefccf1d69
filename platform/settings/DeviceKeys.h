#pragma once
// The keys that a camera driver adds to the settings. The driver is linked into the same library
// and defines this function, so that the platform needs no knowledge of drivers.

#include <memory>

#include "platform/settings/RegistryTypes.h"

namespace zlk::platform {

/// Makes the read-only keys of HKEY_LOCAL_MACHINE that list the attached devices. Their content is
/// determined anew at each access.
std::unique_ptr<RegistryBackdrop> makeDeviceKeys();

}  // namespace zlk::platform
