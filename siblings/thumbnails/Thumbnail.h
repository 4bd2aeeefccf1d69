#pragma once
// From a file to its thumbnail.

#include <vector>

#include "platform/error.h"
#include "siblings/thumbnails/Picture.h"

namespace zlk {

struct Thumbnail {
    std::int32_t result = 0;      ///< as the entry point of the library answers
    DWORD error = ERROR_SUCCESS;  ///< why the file can't be opened or read
    std::vector<BYTE> jpeg;
};

/// Upright and no larger than `box`: the one that the camera put into the file if that shows the
/// picture at the size of use, else the picture itself, else a stock picture.
Thumbnail makeThumbnail(const WCHAR* path, Size box);

}  // namespace zlk
