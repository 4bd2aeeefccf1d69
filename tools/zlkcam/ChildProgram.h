#pragma once
// Runs another program on the user's behalf and waits for its end.

#include <string>
#include <vector>

namespace zlk {

/// The program is found on the PATH and uses our standard input and output. Ctrl-C and `Ctrl-\`
/// reach it from the terminal, and this program ignores them meanwhile. With `quietly` its standard
/// output goes to standard error. Returns its exit status, or 128 plus the number of the signal
/// that ended it. Throws Failure (FileUnusable) if it can't be started.
int runProgram(const std::vector<std::string>& command, bool quietly);

}  // namespace zlk
