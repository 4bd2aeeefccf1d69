#pragma once
// Encodes the pictures of the sample card as JPEG files.

#include <cstdint>
#include <span>
#include <vector>

#include "tools/samplecard/Scene.h"

/// `quality` goes from 1 to 100; `exif` becomes the first segment, unless it is empty.
std::vector<std::uint8_t> encodeJpeg(const Raster& raster, int quality,
                                     std::span<const std::uint8_t> exif);
