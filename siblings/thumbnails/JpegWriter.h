#pragma once
// Encodes a thumbnail as a JPEG file.

#include <optional>
#include <vector>

#include "siblings/thumbnails/Picture.h"

namespace zlk {

/// The bytes of a JPEG file; nothing if the library fails.
std::optional<std::vector<BYTE>> encodeJpeg(const Picture& picture);

}  // namespace zlk
