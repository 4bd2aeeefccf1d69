#pragma once
// The files on this machine that a transfer makes or fills.

#include <span>
#include <string>

#include "camera_devices/CImageDev.h"
#include "platform/named_objects.h"

namespace zlk {

/// Makes the file, or empties one that is there; others may use it meanwhile. Empty where it can't
/// be made, as where the path has a zero inside: to the system it would end there.
UniqueHandle createPcFile(const std::u16string& path);

/// PcFileUnusable unless all bytes went into the file.
DeviceCode writePcFile(HANDLE file, std::span<const BYTE> bytes);

}  // namespace zlk
