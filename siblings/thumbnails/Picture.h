#pragma once
// A small picture in memory, and its geometry.

#include <cstddef>
#include <vector>

#include "platform/types.h"

namespace zlk {

/// In pixels.
struct Size {
    int width = 0;
    int height = 0;
};

/// The largest size with the proportions of `size` that fits into `box`, but not larger than
/// `size`. Both lengths are rounded, to at least 1.
Size fitInto(Size size, Size box);

/// Rows from top to bottom, with three bytes for each pixel: red, green, blue.
struct Picture {
    explicit Picture(Size pictureSize)
        : size(pictureSize),
          rgb(static_cast<std::size_t>(pictureSize.width) * pictureSize.height * 3) {}

    Size size;
    std::vector<BYTE> rgb;

    BYTE* pixel(int x, int y) { return &rgb[(static_cast<std::size_t>(y) * size.width + x) * 3]; }
    const BYTE* pixel(int x, int y) const {
        return &rgb[(static_cast<std::size_t>(y) * size.width + x) * 3];
    }
};

/// How the camera was held, in the numbers of EXIF: 1 is upright; with 5 and above, the picture is
/// stored on its side.
using Orientation = int;
inline constexpr Orientation upright = 1;

/// The size that a picture has after it is turned upright; or the size before, if `size` is that of
/// the upright picture.
Size turnedSize(Size size, Orientation orientation);

/// The picture, turned upright.
Picture turned(const Picture& picture, Orientation orientation);

}  // namespace zlk
