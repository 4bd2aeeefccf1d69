#pragma once
// Records what one run has copied into a folder, or has verified there.
//
// Both writers give a file its name only when it is whole on the disk, and never replace one that
// is there. On failure nothing half has a name. They aren't stopped by a wish to end: what was
// copied before that is worth a record.

#include <cstdint>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "tools/zlkcam/history/HashRecord.h"

namespace zlk {

struct Generation {
    std::int64_t made = _time64();  ///< seconds since 1970 UTC
    std::string device{};           ///< what was copied from, UTF-8; empty if nobody knows
    std::vector<HashRecord> records{};
};

/// Adds a generation to the folder's media hash list, which is begun if there is none: a manifest
/// in `ascmhl/`, and its line in the chain file there. Sums that a manifest can't hold (SHA-256)
/// are left out, and so is a `source` with characters that XML doesn't have. `folder` is an open
/// descriptor of the folder, which gives the manifest its name too. Returns the manifest's path
/// below the folder; empty, with nothing written, if there are no records.
/// Throws Failure (FileUnusable), also where the chain file can't be understood, or another
/// program doesn't end its own writing.
std::string writeGeneration(int folder, const Generation& generation);

/// Writes the sums of one kind (XXH128 or SHA-256) into a file of the folder that `xxhsum -c` or
/// `sha256sum -c` take, `<folder's name>_<date>Z.xxh128` or `.sha256`. Files that were found
/// damaged are left out. Returns and throws as above.
std::string writeSums(int folder, const Generation& generation, DigestKind kind);

}  // namespace zlk
