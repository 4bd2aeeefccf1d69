#pragma once
// What a camera driver adds to the named sections: it is linked into the same library and defines
// this function, so that the platform needs no knowledge of drivers.

#include <string_view>

namespace zlk::platform {

/// Called by OpenFileMappingW, on its caller's thread, before the section `name` is opened. If
/// `name` is that of a section that lists attached devices, the driver brings it up to date first.
void refreshDeviceSection(std::u16string_view name);

}  // namespace zlk::platform
