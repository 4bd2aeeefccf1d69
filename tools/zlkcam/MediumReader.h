#pragma once
// Reads a file from where it really lies, and not from the system's memory, which still has it as
// it was written: a disk that errs shows only then.

#include <optional>
#include <string>

#include "tools/zlkcam/ContentSum.h"

namespace zlk {

struct MediumSum {
    ContentSum sum{};
    /// Of a file in memory, or on another computer, nobody here can say where its bytes came from.
    bool isFromMedium = false;
};

/// Reads the file at a path of this machine, all of which has been flushed. None with errno where
/// it can't be read.
std::optional<MediumSum> sumFromMedium(const std::string& path);

/// Has the system forget what it knows of a file's contents, as far as it does.
void forgetContents(const std::string& path);

}  // namespace zlk
