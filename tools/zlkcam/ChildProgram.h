#pragma once
// Runs another program on the user's behalf and waits for its end.

#include <string>
#include <vector>

namespace zlk {

/// `command` is a program, which is found on the PATH, and its arguments. The program uses our
/// standard input and output; with `quietly` its standard output goes to our standard error. Ctrl-C
/// and `Ctrl-\` are left to it, and don't end this program meanwhile. Returns the program's exit
/// status, or 128 plus the number of the signal that ended it. Throws Failure (FileUnusable) if it
/// can't be started.
int runProgram(const std::vector<std::string>& command, bool quietly);

}  // namespace zlk
