#pragma once
// What is taken from one manifest or sums file.

#include <cstddef>
#include <string>
#include <vector>

#include "tools/zlkcam/history/HashRecord.h"

namespace zlk {

// More files than a card holds. The limit keeps a forged file from filling the memory.
inline constexpr std::size_t mostRecords = 1'000'000;

/// The records of one run. A sums file gives only their paths and sums, and neither device nor
/// renames.
struct RunContent {
    /// The device that was copied from; empty if unknown.
    std::string device{};
    /// The record of a file that was found damaged has neither sums nor size nor time, because
    /// those in the manifest are of the damaged file.
    std::vector<HashRecord> records{};

    /// A record whose file had another path in the generation before.
    struct Rename {
        std::size_t record;  ///< its index in `records`
        std::string previousPath;
    };
    std::vector<Rename> renames{};

    /// Throws UnusableFile for a path that no record may have, or if there are too many records.
    void add(HashRecord record);
};

}  // namespace zlk
