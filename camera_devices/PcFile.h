#pragma once
// Makes and writes files on this machine, for copies and thumbnails.

#include <span>
#include <string>

#include "camera_devices/CImageDev.h"
#include "platform/named_objects.h"

namespace zlk {

/// Makes the file, or empties an existing one. Other programs may open the file while the handle is
/// open. The handle is empty on failure. A path with a zero in it is refused, since the platform
/// would end the path there.
UniqueHandle createPcFile(const std::u16string& path);

/// Writes all bytes at the file's position. PcFileUnusable if that fails.
DeviceCode writePcFile(HANDLE file, std::span<const BYTE> bytes);

}  // namespace zlk
