#pragma once
// What a camera knows about a picture that it has taken. The virtual one reads it from the file.

#include <string>

#include "tools/zlkcamsim/Container.h"

namespace zlk::camsim {

struct JpegFacts {
    std::uint32_t width = 0, height = 0;  ///< 0 if not found
    std::string captured;                 ///< as in `2006:07:15 10:30:00`; empty if not found
    /// Position and size of the EXIF thumbnail, itself a JPEG, in the file; size 0 if there is
    /// none.
    std::size_t thumbnailOffset = 0, thumbnailSize = 0;

    /// Everything is at its default if the file isn't a JPEG.
    static JpegFacts of(ByteView file);
};

}  // namespace zlk::camsim
