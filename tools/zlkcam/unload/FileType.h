#pragma once
// What kind of file a file's extension stands for.

#include <optional>
#include <string>
#include <string_view>

namespace zlk {

enum class FileType { Raw, Jpeg, Heif, Video, Audio, Other };

FileType fileTypeOf(std::u16string_view devicePath);

/// The type that a word of the command line names, without case.
std::optional<FileType> fileTypeNamed(std::string_view word);

/// All those words, as in "raw, jpeg".
std::string fileTypeWords();

}  // namespace zlk
