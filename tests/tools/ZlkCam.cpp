#include "tests/tools/ZlkCam.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/TestMachine.h"

namespace zlk::test {
namespace {

const std::string program = programFolder() / "zlkcam";

}  // namespace

ProgramResult zlkcam(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), program);
    return runProgram(arguments);
}

RunningZlkCam::RunningZlkCam(std::vector<std::string> arguments) : output_(newFolder() / "output") {
    arguments.insert(arguments.begin(), program);
    std::vector<char*> argv;
    for (std::string& word : arguments) argv.push_back(word.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output_.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    EXPECT_EQ(posix_spawn(&pid_, program.c_str(), &actions, nullptr, argv.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
}

RunningZlkCam::~RunningZlkCam() {
    if (pid_ <= 0) return;
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
}

void RunningZlkCam::signal(int number) const {
    ::kill(pid_, number);
}

ProgramResult RunningZlkCam::wait() {
    int raw = 0;
    ::waitpid(pid_, &raw, 0);
    pid_ = -1;
    return {WIFEXITED(raw) ? WEXITSTATUS(raw) : -1, readFile(output_), {}};
}

}  // namespace zlk::test
