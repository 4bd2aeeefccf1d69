#pragma once
// What a camera driver adds to the named sections. The driver is linked into the same library and
// defines this function, so that the platform needs no knowledge of drivers.

#include <string_view>

namespace zlk::platform {

/// Called by OpenFileMappingW, on its caller's thread, before the section `name` is opened. A
/// driver that lists the attached devices in this section makes it or brings it up to date.
void refreshDeviceSection(std::u16string_view name);

}  // namespace zlk::platform
