#pragma once
// Texts between the command line, the platform and the terminal.

#include <string>
#include <string_view>

#include "platform/error.h"
#include "platform/text.h"

namespace zlk {

/// A path from the command line as the platform takes it: bytes that aren't UTF-8 become units
/// of the private area, and so do, in a path that begins with `/`, control characters and
/// backslashes, which are part of a name there.
std::u16string pathArgument(std::string_view bytes);

/// The same path, absolute.
std::u16string absolutePath(std::u16string path);

/// Why a platform call failed, as in "No space is left" (of GetLastError() by default).
std::string reasonText(DWORD error = GetLastError());

/// Without the control characters that could steer a terminal; line ends and tabs stay.
std::string harmlessText(std::string_view utf8);

/// "812 bytes", "4.2 MB".
std::string sizeText(std::uint64_t bytes);

}  // namespace zlk
