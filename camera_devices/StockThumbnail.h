#pragma once
// Thumbnails for files of which the camera gives none.

#include <string>

#include "camera_devices/CImageDev.h"

namespace zlk {

/// Writes a stock picture to the path `fileName`, where it replaces an existing file. The last part
/// of `name` shows the kind of file that the picture is for. ReadFailed if there is no usable
/// thumbnail library or the library gives no picture; PcFileUnusable if `fileName` or a temporary
/// file can't be made or written.
DeviceCode GetStockThumbnail(const std::u16string& name, const std::u16string& fileName);

}  // namespace zlk
