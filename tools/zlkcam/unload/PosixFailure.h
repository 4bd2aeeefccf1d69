#pragma once
// Turns the errno of a failed system call into a Failure.

#include <cerrno>
#include <cstring>
#include <string>

#include "tools/zlkcam/Failure.h"

namespace zlk {

/// `doing` names what failed: it completes "... failed", as in "Making the folder X". The status is
/// FileUnusable.
[[noreturn]] inline void throwPosix(const std::string& doing, int error = errno) {
    throw Failure(ExitStatus::FileUnusable, doing + " failed: " + std::strerror(error) + ".");
}

}  // namespace zlk
