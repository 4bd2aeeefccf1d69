#pragma once
// Makes the thumbnail of a file.

#include <vector>

#include "platform/error.h"
#include "siblings/thumbnails/Picture.h"

namespace zlk {

/// The result of makeThumbnail(), for the entry point to hand out.
struct Thumbnail {
    std::int32_t result = 0;      ///< what the library's entry point returns; 0 for success
    DWORD error = ERROR_SUCCESS;  ///< a last error that says more, or ERROR_SUCCESS
    std::vector<BYTE> jpeg;
};

/// A JPEG, upright and no larger than `box`. It is made from the thumbnail that the camera embedded
/// if that is good enough, and else from the picture itself. If the file can be read but not shown,
/// the JPEG shows a stock picture. If the file can't be read, or the JPEG can't be made, `jpeg` is
/// empty.
Thumbnail makeThumbnail(const WCHAR* path, Size box);

}  // namespace zlk
