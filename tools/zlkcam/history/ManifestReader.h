#pragma once
// Reads a manifest of a media hash list element by element, so that memory needn't hold its XML as
// a whole.

#include "tools/zlkcam/history/HistoryFile.h"
#include "tools/zlkcam/history/RunContent.h"

namespace zlk {

/// Throws UnusableFile if the manifest is malformed, of another version or too large, or if it has
/// a path or sum that can't be used. What `source` throws passes through.
RunContent readManifest(const ByteSource& source);

}  // namespace zlk
