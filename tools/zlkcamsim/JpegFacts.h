#pragma once
// What a camera knows of a picture that it has taken, read from the picture itself.

#include <string>

#include "tools/zlkcamsim/Container.h"

namespace zlk::camsim {

struct JpegFacts {
    std::uint32_t width = 0, height = 0;  ///< 0: not found
    std::string captured;                 ///< `2006:07:15 10:30:00`, or empty
    /// The embedded EXIF thumbnail, a JPEG; without bytes if there is none.
    std::size_t thumbnailOffset = 0, thumbnailSize = 0;

    /// All defaults for what is no JPEG.
    static JpegFacts of(ByteView file);
};

}  // namespace zlk::camsim
