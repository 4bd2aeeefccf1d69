#pragma once
// Reads a manifest of a media hash list, element by element.

#include "tools/zlkcam/history/HistoryFile.h"
#include "tools/zlkcam/history/RunContent.h"

namespace zlk {

/// Throws UnusableFile for one that can't be understood whole.
RunContent readManifest(const ByteSource& source);

}  // namespace zlk
