#pragma once
// Makes the thumbnail of a file.

#include <vector>

#include "platform/error.h"
#include "siblings/thumbnails/Picture.h"

namespace zlk {

/// The result of makeThumbnail(), for the entry point to hand out.
struct Thumbnail {
    std::int32_t result = 0;      ///< what the library's entry point returns; 0 for success
    DWORD error = ERROR_SUCCESS;  ///< why the file couldn't be opened or read
    std::vector<BYTE> jpeg;
};

/// A JPEG, upright and no larger than `box`. It is made from the thumbnail that the camera embedded
/// if that is good enough, else from the picture itself; if the file can be read but not shown, it
/// is a stock picture. If the file can't be read, there is no JPEG.
Thumbnail makeThumbnail(const WCHAR* path, Size box);

}  // namespace zlk
