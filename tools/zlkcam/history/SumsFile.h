#pragma once
// Reads and writes lines of sums in the form of `sha256sum` and `xxhsum`: the digits, two blanks,
// the path. If the path contains a line feed or carriage return, these become `\n` and `\r`, each
// backslash is doubled, and the line begins with a backslash. When a line is read, its second blank
// may also be a `*`.

#include <string>

#include "tools/zlkcam/history/HistoryFile.h"
#include "tools/zlkcam/history/RunContent.h"

namespace zlk {

/// One line with its line end.
std::string sumsLine(const Digest& sum, const std::string& path);

/// Empty lines, and lines that begin with `#`, are skipped. Throws UnusableFile if, for instance,
/// another line can't be understood or has a path that no record may have, or if the last line
/// lacks its line end. What `source` throws passes through.
RunContent readSums(const ByteSource& source, DigestKind kind);

}  // namespace zlk
