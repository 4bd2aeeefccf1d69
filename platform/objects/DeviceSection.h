#pragma once
// What a camera driver adds to the named sections: it is linked into the same library and defines
// this function, so that the platform needs no knowledge of drivers.

#include <string_view>

namespace zlk::platform {

/// Called before an existing named section is opened, on the opening thread. If `name` is that of a
/// section that lists attached devices, the driver brings it up to date first.
void refreshDeviceSection(std::u16string_view name);

}  // namespace zlk::platform
