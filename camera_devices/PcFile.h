#pragma once
// Files on this machine that are made and written by transfers.

#include <span>
#include <string>

#include "camera_devices/CImageDev.h"
#include "platform/named_objects.h"

namespace zlk {

/// Makes the file, or empties an existing one; other programs may open it meanwhile. The result is
/// empty if it can't be made. A path with a zero in it is refused, since the platform would end it
/// there.
UniqueHandle createPcFile(const std::u16string& path);

/// Writes all bytes at the file's position. PcFileUnusable if that fails.
DeviceCode writePcFile(HANDLE file, std::span<const BYTE> bytes);

}  // namespace zlk
