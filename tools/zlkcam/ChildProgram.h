#pragma once
// A program that a command runs on the user's behalf.

#include <string>
#include <vector>

namespace zlk {

/// Runs it to its end, found as a shell finds it, with our own input and output; Ctrl-C is for it
/// alone. `quietly`: what it says on standard output goes to standard error. Its exit status, or
/// 128 and the signal that ended it. Throws Failure (FileUnusable) where it can't be started.
int runProgram(const std::vector<std::string>& command, bool quietly);

}  // namespace zlk
