#pragma once
// Encodes a thumbnail in the form in which it is handed out.

#include <optional>
#include <vector>

#include "siblings/thumbnails/Picture.h"

namespace zlk {

/// The bytes of a JPEG file; nothing if the library fails.
std::optional<std::vector<BYTE>> encodeJpeg(const Picture& picture);

}  // namespace zlk
