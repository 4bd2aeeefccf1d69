#pragma once

#include <optional>
#include <vector>

#include "siblings/thumbnails/Picture.h"

namespace zlk {

/// The picture as a JPEG; nothing if the library fails.
std::optional<std::vector<BYTE>> encodeJpeg(const Picture& picture);

}  // namespace zlk
