#pragma once
// Translates the name of a named object to the file that stands for it.

#include <string>

#include "platform/types.h"

namespace zlk::platform {

struct NamedObjectName {
    std::string folder;  ///< below the machine root
    std::string file;    ///< at most 200 bytes of letters, digits, `-`, `_`, `%` and `+`

    bool unnamed() const noexcept { return file.empty(); }
};

/// Parses a name, which may begin with `Global\` or `Local\`. A null or empty text stands for an
/// object without a name. False if the name has more than 260 units, another backslash, or nothing
/// after its prefix. Two names have the same file only if they are equal, apart from a prefix
/// `Local\`.
bool parseObjectName(const WCHAR* text, NamedObjectName& name);

}  // namespace zlk::platform
