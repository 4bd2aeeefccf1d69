#pragma once
// Lines of sums, as `sha256sum` and `xxhsum` write and take them: the digits, two blanks, the path.
// A path with a line end in it has `\n` there, and its line a `\` in front.

#include <string>

#include "tools/zlkcam/history/HistoryFile.h"
#include "tools/zlkcam/history/RunContent.h"

namespace zlk {

/// With its line end.
std::string sumsLine(const Digest& sum, const std::string& path);

/// Throws UnusableFile for one that can't be understood whole.
RunContent readSums(const ByteSource& source, DigestKind kind);

}  // namespace zlk
