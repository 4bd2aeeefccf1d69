#pragma once
// Reads a manifest of a media hash list element by element, so that its size doesn't matter.

#include "tools/zlkcam/history/HistoryFile.h"
#include "tools/zlkcam/history/RunContent.h"

namespace zlk {

/// Throws UnusableFile if the manifest can't be understood as a whole.
RunContent readManifest(const ByteSource& source);

}  // namespace zlk
