#pragma once
// What cameras of other makers do otherwise, each by itself.

#include <string>
#include <vector>

#include "tools/zlkcamsim/Codes.h"

namespace zlk::camsim {

struct Quirks {
    /// The answer to an operation that comes with fewer parameters than the standard gives it;
    /// 0: those that were left out are zeros.
    Code missingParameter = 0;
    bool noCount = false;         ///< GetNumObjects isn't known
    bool noFormatFilter = false;  ///< objects of one format alone aren't listed
    bool rootOnly = false;        ///< who names no parent gets what lies in the root
    bool listsItself = false;     ///< a folder is one of its own children
    bool listsParent = false;     ///< and so is the folder that it lies in
    bool listsTwice = false;      ///< every handle
};

/// Words as in `all-parameters=0x2014` and `no-count`. Throws std::invalid_argument for others.
Quirks quirksOf(const std::vector<std::string>& words);

}  // namespace zlk::camsim
