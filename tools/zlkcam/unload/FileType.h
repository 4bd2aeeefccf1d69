#pragma once
// Sorts files into pictures, videos and sounds by their extensions.

#include <optional>
#include <string>
#include <string_view>

namespace zlk {

/// Other is everything that the rest excludes, also files without an extension.
enum class FileType { Raw, Jpeg, Heif, Video, Audio, Other };

/// By the extension of the path's last component, whatever its case; Other if it isn't known.
FileType fileTypeOf(std::u16string_view devicePath);

/// The type that a word of the command line names, in any case; none if there is no such type.
std::optional<FileType> fileTypeNamed(std::string_view word);

/// All words for types, separated by commas, for messages.
std::string fileTypeWords();

}  // namespace zlk
