#pragma once
// Names of a device's files as names on this machine: nothing in them leads out of a folder, hides
// in it, or holds what a terminal or another system chokes on.

#include <string>
#include <string_view>
#include <vector>

#include "platform/types.h"

namespace zlk {

/// A unit of a name as people may see it: `instead` for what controls how a text is shown.
WCHAR harmlessUnit(WCHAR unit, WCHAR instead);

/// One path component, at most 220 bytes of UTF-8; what is too long is cut in front of its
/// extension. `_` for an empty one.
std::string safeName(std::u16string_view name);

/// The components of a device's path, split at both slashes, each of them safe. The last one is the
/// file's name; there is always one.
std::vector<std::string> safePath(std::u16string_view devicePath);

/// What stands behind the last slash, of either kind.
std::u16string_view fileNameIn(std::u16string_view devicePath);

/// The position of a name's extension, with its dot; the name's end if it has none.
std::size_t extensionOf(std::string_view name);
std::size_t extensionOf(std::u16string_view name);

}  // namespace zlk
