#pragma once
// Sorts files into pictures, videos and sounds by their extensions.

#include <optional>
#include <string>
#include <string_view>

namespace zlk {

/// Other is the type of all files that have none of the known extensions.
enum class FileType { Raw, Jpeg, Heif, Video, Audio, Other };

/// Looks at the extension of the path's last component, whatever its case.
FileType fileTypeOf(std::u16string_view devicePath);

/// The type that a word of the command line names, whatever the word's case; none if there is no
/// such type.
std::optional<FileType> fileTypeNamed(std::string_view word);

/// All words for types, separated by commas, for messages.
std::string fileTypeWords();

}  // namespace zlk
