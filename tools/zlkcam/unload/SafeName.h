#pragma once
// Turns names of a device's files into names that are safe on this machine. Nothing in them leads
// out of a folder or hides a file. Control characters are replaced, and so are the marks that set
// or override the direction of a text.

#include <string>
#include <string_view>
#include <vector>

#include "platform/types.h"

namespace zlk {

/// The UTF-16 unit itself, or `instead` if it is a control character or changes the direction of a
/// text. A unit by which the platform stands in for a byte becomes the character of that byte in
/// Latin-1 if the byte is 0xA0 or more, else `instead`.
WCHAR harmlessUnit(WCHAR unit, WCHAR instead);

/// Makes a path component of at most 220 bytes of UTF-8. A longer name is cut, if possible before
/// its extension. `_` stands for an empty name, for a dot at the start, and for each unit that
/// isn't safe.
std::string safeName(std::u16string_view name);

/// Splits a device's path at both kinds of slashes and makes each component safe. The last
/// component is the file's name; there is always one.
std::vector<std::string> safePath(std::u16string_view devicePath);

/// The part after the last slash of either kind.
std::u16string_view fileNameIn(std::u16string_view devicePath);

/// The position of the extension's dot; the length of the name if it has no extension.
std::size_t extensionOf(std::string_view name);
std::size_t extensionOf(std::u16string_view name);

}  // namespace zlk
