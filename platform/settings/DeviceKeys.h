#pragma once
// What a driver adds to the settings: it is linked into the same library, and defines this
// function.

#include <memory>

#include "platform/settings/RegistryTypes.h"

namespace zlk::platform {

/// The keys of HKEY_LOCAL_MACHINE that tell which devices are attached, answered anew each time.
std::unique_ptr<RegistryBackdrop> makeDeviceKeys();

}  // namespace zlk::platform
