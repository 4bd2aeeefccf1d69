#pragma once
// Proves a copy: it is read back, from its medium if possible, and must have the sum of what the
// device gave.

#include "tools/zlkcam/ContentSum.h"

namespace zlk {

/// What is known about the reading of a copy that was proved.
struct Proof {
    /// As in MediumDigest: false if nobody can say that the bytes came from the medium.
    bool isFromMedium = false;
};

/// Reads back an open file, which has to be flushed before, and compares its sum. Throws Failure:
/// FileUnusable if it can't be read, NotVerified if it has other bytes, Stopped after a stop.
Proof prove(int file, const ContentSum& sum);

}  // namespace zlk
