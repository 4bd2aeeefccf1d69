#pragma once
// Reads a file, or writes a new one, in one piece. A function that fails throws Failure
// (FileUnusable).

#include <cstddef>
#include <string>
#include <string_view>

namespace zlk {

/// All bytes of a file of at most `maxBytes`. The path `-` means standard input.
std::string readFileBytes(const std::u16string& path, std::size_t maxBytes);

/// The text of a file in UTF-8 of at most 1 MiB, without its byte order mark. The path `-` means
/// standard input.
std::u16string readTextFile(const std::u16string& path);

/// Creates a file that doesn't exist yet. The file gets its name only when it is whole on the disk.
void writeNewFile(const std::u16string& path, std::string_view bytes);

}  // namespace zlk
