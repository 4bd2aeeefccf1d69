#pragma once
// Small files that a command reads or writes. All throw Failure (FileUnusable).

#include <cstddef>
#include <string>
#include <string_view>

namespace zlk {

/// All bytes of a file of at most `maxBytes`; `-` is standard input.
std::string readFileBytes(const std::u16string& path, std::size_t maxBytes);

/// A text in UTF-8, without its byte order mark.
std::u16string readTextFile(const std::u16string& path);

/// Makes a file that isn't there yet, and has its name only once it is whole on the disk.
void writeNewFile(const std::u16string& path, std::string_view bytes);

}  // namespace zlk
