#pragma once
// A small picture in memory, and what is done with one.

#include <cstddef>
#include <vector>

#include "platform/types.h"

namespace zlk {

struct Size {
    int width = 0;
    int height = 0;
};

/// The largest size of the shape of `size` inside of `box`, never larger than `size` itself.
Size fitInto(Size size, Size box);

/// Rows from the top, three bytes a pixel: red, green, blue.
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

/// Which way a camera was held, as EXIF numbers it: 1 is upright, from 5 on the picture lies on
/// its side.
using Orientation = int;
inline constexpr Orientation upright = 1;

/// The size that a picture has once it stands upright, and the way back, which is the same.
Size turnedSize(Size size, Orientation orientation);

/// The picture as it was seen.
Picture turned(const Picture& picture, Orientation orientation);

}  // namespace zlk
