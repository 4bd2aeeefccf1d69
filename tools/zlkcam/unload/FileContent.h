#pragma once
// Reads open files to compare what is in them. The files' own positions stay where they are. All
// functions throw Failure (Stopped) after a stop.

#include <optional>

#include "tools/zlkcam/ContentSum.h"
#include "tools/zlkcam/history/Digest.h"

namespace zlk {

/// The sum of the whole file; none with errno if it can't be read.
std::optional<ContentSum> contentSumOf(int file);
/// Like contentSumOf, for a sum of any kind.
std::optional<Digest> digestOf(int file, DigestKind kind);

/// Also false if one of the files can't be read: then nothing shows that they are the same.
bool haveSameContent(int a, int b);

}  // namespace zlk
