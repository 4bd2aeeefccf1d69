#pragma once
// A memory card as a camera leaves it: pictures in DCIM, and in MISC the small documents by which
// camera and PC agree.

#include <cstdint>
#include <filesystem>

struct CardPlan {
    std::filesystem::path folder;  ///< made if it isn't there
    int pictures = 12;             ///< 1 to 9999
    std::uint32_t seed = 1;        ///< the same number gives the same bytes
};

/// Writes the card. A folder that has a DCIM or MISC already is left alone, since it may be a real
/// card. Throws std::runtime_error or std::filesystem::filesystem_error with what went wrong.
void writeSampleCard(const CardPlan& plan);
