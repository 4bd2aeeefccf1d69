#pragma once
#include <string>

#include "camera_devices/CImageDev.h"

namespace zlk {

/// Makes `fileName` with the picture that stands for a file of the kind of `name`, of which only
/// the last part counts. ReadFailed without a thumbnail library or a picture from it,
/// PcFileUnusable where a file can't be made or written.
DeviceCode GetStockThumbnail(const std::u16string& name, const std::u16string& fileName);

}  // namespace zlk
