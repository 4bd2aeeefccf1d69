#pragma once
// Makes the sum of a file, read from its medium if possible. The system's cache may still have the
// bytes as they were written, and so would hide a failing disk.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "tools/zlkcam/ContentSum.h"
#include "tools/zlkcam/history/Digest.h"

namespace zlk {

/// The sum of a file's contents, and whether they are known to come from the medium.
struct MediumDigest {
    Digest digest{};
    std::uint64_t size = 0;
    /// False unless the bytes are known to come from a medium of this machine, see isOnMedium().
    /// Also false if the file stayed in the cache and can't be read directly.
    bool isFromMedium = false;
};

/// Reads an open file, which has to be flushed before. `progress` is called with the number of
/// bytes read so far. None with errno if the file can't be read. Throws stoppedEarly() after a
/// stop.
std::optional<MediumDigest> digestFromMedium(
    int file, DigestKind kind, const std::function<void(std::uint64_t)>& progress = {});

}  // namespace zlk
