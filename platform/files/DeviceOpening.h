#pragma once
// The function by which CreateFileW opens a camera. The camera driver, which is linked into the
// same library, defines it, so that the platform needs no knowledge of drivers.

#include <memory>
#include <string_view>

#include "platform/base/Handle.h"

namespace zlk::platform {

/// Opens the device whose name stood after `\\.\` or `\\?\`, on the thread that calls CreateFileW.
/// Null with the last error; ERROR_FILE_NOT_FOUND for a name of no device.
std::shared_ptr<Handle> openDevice(std::u16string_view name);

}  // namespace zlk::platform
