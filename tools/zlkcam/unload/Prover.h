#pragma once
// The proof of a copy: what its disk gives back has the sum of what the device gave.

#include "tools/zlkcam/ContentSum.h"

namespace zlk {

struct Proof {
    /// False where the file is in memory or on another computer: its bytes may have come from
    /// anywhere.
    bool isFromMedium = false;
};

/// Reads back an open file that was flushed. Throws Failure: FileUnusable where it can't be read,
/// NotVerified where it has other bytes, and Stopped where a stop is wished.
Proof prove(int file, const ContentSum& sum);

}  // namespace zlk
