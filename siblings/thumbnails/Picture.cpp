#include "siblings/thumbnails/Picture.h"

#include <algorithm>
#include <cmath>

namespace zlk {

Size fitInto(Size size, Size box) {
    const double factor = std::min({1.0, static_cast<double>(box.width) / size.width,
                                    static_cast<double>(box.height) / size.height});
    const auto fitted = [factor](int length, int limit) {
        return std::clamp(static_cast<int>(std::lround(length * factor)), 1, limit);
    };
    return {fitted(size.width, box.width), fitted(size.height, box.height)};
}

Size turnedSize(Size size, Orientation orientation) {
    return orientation >= 5 ? Size{size.height, size.width} : size;
}

Picture turned(const Picture& picture, Orientation orientation) {
    const bool swapped = orientation >= 5;
    // For each pixel of the result this finds the pixel of the source. The orientation says whether
    // the axes are swapped, and which of them are mirrored.
    const bool mirroredX =
        orientation == 2 || orientation == 3 || orientation == 7 || orientation == 8;
    const bool mirroredY =
        orientation == 3 || orientation == 4 || orientation == 6 || orientation == 7;
    const auto [width, height] = picture.size;
    Picture result(turnedSize(picture.size, orientation));
    for (int y = 0; y < result.size.height; ++y) {
        for (int x = 0; x < result.size.width; ++x) {
            const int column = swapped ? y : x;
            const int row = swapped ? x : y;
            const BYTE* from = picture.pixel(mirroredX ? width - 1 - column : column,
                                             mirroredY ? height - 1 - row : row);
            std::copy_n(from, 3, result.pixel(x, y));
        }
    }
    return result;
}

}  // namespace zlk
