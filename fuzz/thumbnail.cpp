// Fuzzes the thumbnail component with pictures from cards: EXIF first, then decoding and turning
// the picture.

#include "fuzz/Input.h"
#include "siblings/thumbnails/ExifBlock.h"
#include "siblings/thumbnails/JpegReader.h"

using namespace zlk;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const ExifBlock exif({data, size});
    const Orientation held = exif.orientation();
    fuzz::require(held >= 1 && held <= 8);
    fuzz::require(exif.thumbnail().size() <= size);

    // The decoder may reject the picture. The size that is asked for must fit, and turning the
    // picture must keep the number of its pixels.
    MemorySource source({data, size});
    JpegReader reader(source);
    if (const auto full = reader.open()) {
        const Size wanted = fitInto(*full, {160, 160});
        fuzz::require(wanted.width <= 160 && wanted.height <= 160);
        if (const auto picture = reader.decode(wanted)) {
            const Picture seen = turned(*picture, held);
            fuzz::require(seen.rgb.size() == picture->rgb.size());
        }
    }
    return 0;
}
