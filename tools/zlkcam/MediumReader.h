#pragma once
// Reads a file from where it really lies, and not from the system's memory, which still has it as
// it was written: a disk that errs shows only then.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "tools/zlkcam/ContentSum.h"
#include "tools/zlkcam/history/Digest.h"

namespace zlk {

struct MediumDigest {
    Digest digest{};
    std::uint64_t size = 0;
    /// Of a file in memory, or on another computer, nobody here can say where its bytes came from.
    bool isFromMedium = false;
};

/// Reads an open file, all of which has been flushed. `progress` hears how many bytes were read.
/// None with errno where it can't be read; throws stoppedEarly() where a stop is wished.
std::optional<MediumDigest> digestFromMedium(
    int file, DigestKind kind, const std::function<void(std::uint64_t)>& progress = {});

}  // namespace zlk
