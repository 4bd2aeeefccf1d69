#pragma once
// What a failed call of the operating system comes to.

#include <cerrno>
#include <cstring>
#include <string>

#include "tools/zlkcam/Failure.h"

namespace zlk {

/// `doing` completes "... failed", as in "Making the folder X".
[[noreturn]] inline void throwPosix(const std::string& doing, int error = errno) {
    throw Failure(ExitStatus::FileUnusable, doing + " failed: " + std::strerror(error) + ".");
}

}  // namespace zlk
