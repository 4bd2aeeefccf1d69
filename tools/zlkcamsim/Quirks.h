#pragma once
// Habits of other makers' cameras, each of which can be switched on by itself.

#include <string>
#include <vector>

#include "tools/zlkcamsim/Codes.h"

namespace zlk::camsim {

/// By default none is switched on.
struct Quirks {
    /// The response to an operation that comes with fewer parameters than ISO 15740 gives it. 0:
    /// missing parameters count as zeros.
    Code missingParameter = 0;
    bool noCount = false;         ///< GetNumObjects isn't supported
    bool noFormatFilter = false;  ///< listings of a format aren't supported
    bool rootOnly = false;        ///< without a parent only the root's objects are listed
    bool listsItself = false;     ///< a folder is listed among its own children
    bool listsParent = false;     ///< a folder's children include the folder's parent
    bool listsTwice = false;      ///< each handle is listed twice
};

/// Parses words such as `all-parameters=0x2014` and `no-count`. Throws std::invalid_argument for
/// any other word.
Quirks quirksOf(const std::vector<std::string>& words);

}  // namespace zlk::camsim
