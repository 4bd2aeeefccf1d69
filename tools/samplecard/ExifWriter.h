#pragma once
// Writes the EXIF block of a sample picture.

#include <cstdint>
#include <string>
#include <vector>

/// What the camera records about a picture.
struct ShotData {
    std::string maker, model;
    std::string date;  ///< as in `2006:07:15 10:30:00`
    int orientation;   ///< 1, 6 (the top row is the upright picture's right edge) or 8 (its left)
    int width, height;
    std::vector<std::uint8_t> thumbnail;  ///< a JPEG
};

/// The EXIF block of a picture, as it stands in the segment APP1 of a JPEG. Throws std::bad_alloc.
std::vector<std::uint8_t> exifBlock(const ShotData& shot);
