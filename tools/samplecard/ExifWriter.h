#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// What the camera says of a picture.
struct ShotData {
    std::string maker, model;
    std::string date;  ///< `2006:07:15 10:30:00`
    int orientation;   ///< 1, 6 (the picture's top is on the right) or 8 (on the left)
    int width, height;
    std::vector<std::uint8_t> thumbnail;  ///< a JPEG
};

/// The EXIF block of a picture, as it goes into a JPEG's first application segment.
std::vector<std::uint8_t> exifBlock(const ShotData& shot);
