#include "siblings/thumbnails/Thumbnail.h"

#include <cmath>

#include "interfaces/ThumbnailLibrary.h"
#include "siblings/thumbnails/ByteSource.h"
#include "siblings/thumbnails/ExifBlock.h"
#include "siblings/thumbnails/JpegReader.h"
#include "siblings/thumbnails/JpegWriter.h"
#include "siblings/thumbnails/StockPicture.h"

namespace zlk {
namespace {

/// Whether an embedded thumbnail can be used for a picture whose own thumbnail would have the size
/// `wanted`: it must not be much smaller, and must have the picture's proportions. Some cameras
/// embed one of 4:3 with black bars in a picture of 3:2.
bool isGood(Size embedded, Size picture, Size wanted) {
    const double shape = static_cast<double>(embedded.width) * picture.height /
                         (static_cast<double>(embedded.height) * picture.width);
    return std::abs(shape - 1.0) < 0.04 && embedded.width * 4 >= wanted.width * 3 &&
           embedded.height * 4 >= wanted.height * 3;
}

std::optional<Picture> embeddedPicture(const ExifBlock& exif, Size picture, Size box) {
    MemorySource source(exif.thumbnail());
    JpegReader reader(source);
    const auto size = reader.open();
    if (!size || !isGood(*size, picture, fitInto(picture, box))) return std::nullopt;
    return reader.decode(fitInto(*size, box));
}

std::optional<Picture> readPicture(FileSource& file, Size box) {
    JpegReader reader(file);
    const auto size = reader.open();
    if (!size) return std::nullopt;
    const ExifBlock exif(file.head());
    const Orientation orientation = exif.orientation();
    // The picture is scaled first, in the position in which it is stored, and then turned.
    const Size lyingBox = turnedSize(box, orientation);
    auto picture = embeddedPicture(exif, *size, lyingBox);
    if (!picture) picture = reader.decode(fitInto(*size, lyingBox));
    if (!picture) return std::nullopt;
    return turned(*picture, orientation);
}

}  // namespace

Thumbnail makeThumbnail(const WCHAR* path, Size box) {
    FileSource file(path);
    auto picture = file.error() == ERROR_SUCCESS ? readPicture(file, box) : std::nullopt;
    // A file that can't be read is an error. One that can be read but not shown gets a stock
    // picture.
    if (file.error() != ERROR_SUCCESS) return {thumbnailErrorUnknown, file.error(), {}};
    if (!picture) picture = stockPicture(splitPath(path).extension, box);
    auto jpeg = encodeJpeg(*picture);
    if (!jpeg) return {thumbnailErrorImlFailed, ERROR_SUCCESS, {}};
    return {0, ERROR_SUCCESS, std::move(*jpeg)};
}

}  // namespace zlk
