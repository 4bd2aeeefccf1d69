#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "tools/samplecard/Scene.h"

/// The picture as a JPEG, with `exif` as its first segment unless that is empty.
std::vector<std::uint8_t> encodeJpeg(const Raster& raster, int quality,
                                     std::span<const std::uint8_t> exif);
