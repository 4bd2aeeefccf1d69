// Fuzzes the search for dates in pictures and videos: a date that is found must be plausible.

#include "tools/zlkcam/unload/PictureDate.h"

#include "fuzz/Input.h"

using namespace zlk;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (const auto date = pictureDate(std::as_bytes(std::span(data, size))))
        fuzz::require(isPlausible(*date));
    return 0;
}
