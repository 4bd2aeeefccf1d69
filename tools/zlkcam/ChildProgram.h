#pragma once
// Runs another program on the user's behalf and waits for its end.

#include <string>
#include <vector>

namespace zlk {

/// `command` is a program, by its path or by a name that is found on the PATH, and its arguments.
/// The program uses our standard input and output; with `quietly` its standard output goes to our
/// standard error. Ctrl-C and `Ctrl-\` are left to the program, and don't end ours meanwhile.
/// Returns the program's exit status, or 128 plus the number of the signal that ended it. Throws
/// Failure (FileUnusable) if it can't be started.
int runProgram(const std::vector<std::string>& command, bool quietly);

}  // namespace zlk
