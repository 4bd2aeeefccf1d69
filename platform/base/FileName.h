#pragma once
// Between a file's name, which is bytes, and its text.
//
// What a name may hold and a text may not (bytes that aren't UTF-8, control characters, the
// backslash, and the two characters that no XML document may hold) shows as units U+F000 + byte.
// Such a unit in a text is read in two ways: as the character that it is, which a name may really
// hold, and as the byte that it stands for. No byte that splits or ends a path has a unit.

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

/// The name that a text spells, its units taken as characters; none if the text has half a
/// surrogate pair, which no name has.
std::optional<std::string> literalName(std::u16string_view text);

/// The name with its units taken as bytes.
std::optional<std::string> byteName(std::u16string_view text);

}  // namespace zlk::platform
