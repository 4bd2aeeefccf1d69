#pragma once
// What one manifest or sums file holds.

#include <cstddef>
#include <string>
#include <vector>

#include "tools/zlkcam/history/HashRecord.h"

namespace zlk {

// Four times as many as the largest cards of today have.
inline constexpr std::size_t mostRecords = 1'000'000;

struct RunContent {
    std::string device{};
    /// A file that was found damaged has neither sums nor size here: they are another file's.
    std::vector<HashRecord> records{};

    struct Rename {
        std::size_t record;  ///< its index
        std::string previousPath;
    };
    std::vector<Rename> renames{};

    /// Throws UnusableFile for a path that a history must not tell of, or one record too many.
    void add(HashRecord record);
};

}  // namespace zlk
