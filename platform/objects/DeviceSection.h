#pragma once
// What a driver adds to the named sections: it is linked into the same library, and defines this
// function.

#include <string_view>

namespace zlk::platform {

/// Called before a named section is opened: one that lists devices is brought up to date.
void refreshDeviceSection(std::u16string_view name);

}  // namespace zlk::platform
