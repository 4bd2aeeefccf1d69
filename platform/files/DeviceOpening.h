#pragma once
// A driver's door: it is linked into the same library, and defines this function.

#include <memory>
#include <string_view>

#include "platform/base/Handle.h"

namespace zlk::platform {

/// Opens the device with that name, which stood behind `\\.\` or `\\?\`. Null with the last error:
/// ERROR_FILE_NOT_FOUND for a name of no device.
std::shared_ptr<Handle> openDevice(std::u16string_view name);

}  // namespace zlk::platform
