#pragma once
// Converts and formats texts between the command line, the platform and the terminal.

#include <string>
#include <string_view>

#include "platform/error.h"
#include "platform/text.h"

namespace zlk {

/// A path from the command line in the platform's form. Bytes that aren't UTF-8 become units of the
/// private area. In a path that begins with `/`, ASCII's control characters and backslashes do,
/// too, because they are part of a name there.
std::u16string pathArgument(std::string_view bytes);

/// The path, made absolute by the current folder. A path that begins with `/`, `\\` or a drive is
/// left as it is.
std::u16string absolutePath(std::u16string path);

/// Why a platform call failed, as in "The disk is full", without a full stop.
std::string reasonText(DWORD error = GetLastError());

/// The text with `?` for control characters, which could steer a terminal; line feeds and tabs
/// stay.
std::string harmlessText(std::string_view utf8);

/// A size for people, as in "812 bytes" or "4.2 MB".
std::string sizeText(std::uint64_t bytes);

}  // namespace zlk
