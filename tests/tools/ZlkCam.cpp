#include "tests/tools/ZlkCam.h"

#include <fcntl.h>
#include <unistd.h>

#include "tests/support/TestMachine.h"

namespace zlk::test {
namespace {

/// The client's command line, with words behind what the test says.
std::vector<std::string> commandOf(std::vector<std::string> arguments,
                                   std::initializer_list<std::string> more = {}) {
    arguments.insert(arguments.begin(), programFolder() / "zlkcam");
    arguments.insert(arguments.end(), more);
    return arguments;
}

/// Becomes the program that its arguments call; the last of them is the file for its output.
ZLK_CHILD(client) {
    std::vector<std::string> command = child.arguments;
    const int output = ::open(command.back().c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    command.pop_back();
    std::vector<char*> argv;
    for (std::string& word : command) argv.push_back(word.data());
    argv.push_back(nullptr);
    ::dup2(output, STDOUT_FILENO);
    ::dup2(nowhere, STDERR_FILENO);
    return ::execv(argv[0], argv.data());
}

}  // namespace

ProgramResult zlkcam(const std::vector<std::string>& arguments) {
    return runProgram(commandOf(arguments));
}

JsonAnswer json(const std::vector<std::string>& arguments) {
    const ProgramResult result = runProgram(commandOf(arguments, {"--json"}));
    return {result.status, Json::parse(result.output), result.error};
}

RunningZlkCam::RunningZlkCam(const std::vector<std::string>& arguments)
    : output_(newFolder() / "output"),
      client_("client", commandOf(arguments, {"--json", output_})) {}

JsonAnswer RunningZlkCam::wait() {
    const int status = client_.wait();
    return {status, Json::parse(readFile(output_)), {}};
}

}  // namespace zlk::test
