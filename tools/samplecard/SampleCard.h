#pragma once
// Fills a folder as a camera leaves a memory card: with pictures in DCIM, and in MISC the small
// documents on which camera and PC agree.

#include <cstdint>
#include <filesystem>

struct CardPlan {
    std::filesystem::path folder;  ///< created if it doesn't exist
    int pictures = 12;             ///< 1 to 9999
    std::uint32_t seed = 1;        ///< the same number gives the same pictures
};

/// Writes the card. Throws std::runtime_error or std::filesystem::filesystem_error, with the reason
/// as text, if the card can't be written, and also if the folder already has a DCIM or MISC. Such a
/// folder may be a real card, and nothing is written to it.
void writeSampleCard(const CardPlan& plan);
