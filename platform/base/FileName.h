#pragma once
// Converts between a file's name, which consists of bytes, and its text.
//
// A name may contain what a text may not: bytes that aren't UTF-8, ASCII's control characters, the
// backslash, and U+FFFE and U+FFFF, which no XML document may contain. In the text, each byte of
// these becomes the unit U+F000 + byte. Such a unit can be read in two ways: as the byte that it
// stands for, and as a character, which a name may really contain. `/` and the zero byte have no
// unit, so no unit can smuggle a path separator or a terminator into a name.

#include <optional>
#include <string>
#include <string_view>

#include "platform/types.h"

namespace zlk::platform {

/// Appends the text of a name, or of a whole path of this machine.
void appendNameText(std::u16string& text, std::string_view name);
std::u16string nameText(std::string_view name);

/// Whether a text has units that may stand for bytes.
bool hasByteUnits(std::u16string_view text) noexcept;

/// The name that a text means if units that may stand for bytes are read as characters; none if the
/// text has half a surrogate pair.
std::optional<std::string> literalName(std::u16string_view text);

/// The name that a text means if units that may stand for bytes are read as bytes; none if the text
/// has half a surrogate pair.
std::optional<std::string> byteName(std::u16string_view text);

}  // namespace zlk::platform
