#pragma once
// From the name of a named object to the file that stands for it.

#include <string>

#include "platform/types.h"

namespace zlk::platform {

struct NamedObjectName {
    std::string folder;  ///< below the machine root
    std::string file;    ///< at most 200 bytes of letters, digits, `-`, `_`, `%` and `+`

    bool unnamed() const noexcept { return file.empty(); }
};

/// Takes a name apart (null or empty: an object without one); false for one that is refused.
/// Names differ exactly if their files do.
bool parseObjectName(const WCHAR* text, NamedObjectName& name);

}  // namespace zlk::platform
