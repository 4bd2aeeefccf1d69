#pragma once
// Makes a memory card as a camera leaves it: pictures in DCIM, and in MISC the small documents on
// which camera and PC agree.

#include <cstdint>
#include <filesystem>

/// What card is to be made.
struct CardPlan {
    std::filesystem::path folder;  ///< created if it doesn't exist
    int pictures = 12;             ///< 1 to 9999
    std::uint32_t seed = 1;        ///< the same number gives the same bytes
};

/// Writes the card. A folder that already has a DCIM or MISC is left alone, since it may be a real
/// card. Throws std::runtime_error or std::filesystem::filesystem_error, with the reason as text.
void writeSampleCard(const CardPlan& plan);
