#pragma once
// Records what one run has copied into a folder, or has verified there.
//
// The functions below give a file its name only when it is whole on the disk, and replace no file
// but the chain file. They also work after a stop, because what was copied before is worth a
// record.

#include <cstdint>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "tools/zlkcam/history/HashRecord.h"

namespace zlk {

/// What one run records, in a manifest or in a sums file. A manifest of a media hash list is called
/// a generation.
struct Generation {
    std::int64_t made = _time64();  ///< seconds since 1970 UTC
    std::string device{};           ///< the device that was copied from, UTF-8; empty if unknown
    std::vector<HashRecord> records{};
};

/// Adds a generation to the folder's media hash list: a manifest in `ascmhl/`, and its entry in the
/// chain file there. If there is no list, it is begun. Sums that a manifest can't hold (SHA-256)
/// are left out, and so is a `device` or `source` that isXmlText refuses. `folder` is an open
/// descriptor, which stays the caller's; the folder's name becomes a part of the manifest's name.
/// Returns the path of the manifest below the folder; empty, with nothing written, if there are no
/// records. Throws std::invalid_argument if a record has no sum that a manifest can hold, and
/// Failure (FileUnusable) for other errors, such as a path that a manifest can't hold, or a history
/// that another program keeps locked.
std::string writeGeneration(int folder, const Generation& generation);

/// Writes the sums of one kind (XXH128 or SHA-256) into a new file of the folder, which `xxhsum -c`
/// or `sha256sum -c` accept. It is called `<folder's name>_<date>Z.xxh128` or `.sha256`, with `-2`
/// and so on before the dot if that name is taken. Files that were found damaged are left out.
/// Returns the name; empty, with nothing written, if no file is left. Throws Failure
/// (FileUnusable), and std::invalid_argument if the record of an undamaged file has no such sum.
std::string writeSums(int folder, const Generation& generation, DigestKind kind);

}  // namespace zlk
