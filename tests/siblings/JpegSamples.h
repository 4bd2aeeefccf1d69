#pragma once
// Pictures for the tests of thumbnails, and their pixels.

#include <array>
#include <cstdint>
#include <string>

namespace zlk::test {

using Colour = std::array<int, 3>;
inline constexpr Colour red{200, 40, 40}, green{40, 180, 40}, blue{40, 40, 200},
    white{240, 240, 240}, grey{128, 128, 128};

/// A picture of four quarters: upper left, upper right, lower left, lower right.
struct Quarters {
    int width, height;
    std::array<Colour, 4> colours;
};

enum class Form { Plain, Progressive, Grey, Cmyk, ProgressiveCmyk };

/// As a JPEG, with `exif` in front unless that is empty.
std::string jpegOf(const Quarters& picture, const std::string& exif = {}, Form form = Form::Plain);

/// An EXIF block with an orientation and, unless it is empty, a thumbnail.
std::string exifOf(int orientation, const std::string& thumbnail = {});

/// What a JPEG shows, by the middles of its quarters. Ends the process if it doesn't decode.
Quarters quartersOf(const std::string& jpeg);

/// Whether two pictures have one size, and colours that look alike.
bool looksLike(const Quarters& a, const Quarters& b);

}  // namespace zlk::test
