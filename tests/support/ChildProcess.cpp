#include "tests/support/ChildProcess.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>

#include <map>

extern char** environ;

namespace zlk::test {
namespace {

constexpr char childFlag[] = "--zlk-child";

std::map<std::string, ChildBody>& bodies() {
    static std::map<std::string, ChildBody> map;
    return map;
}

void writeAll(int fd, const std::string& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n <= 0) return;  // the other side is gone, which its own reads will show
        done += static_cast<std::size_t>(n);
    }
}

std::string readLine(int fd, std::string& pending) {
    for (;;) {
        const std::size_t end = pending.find('\n');
        if (end != std::string::npos) {
            std::string line = pending.substr(0, end);
            pending.erase(0, end + 1);
            return line;
        }
        char buffer[512];
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n <= 0) return {};
        pending.append(buffer, static_cast<std::size_t>(n));
    }
}

std::vector<char*> argvOf(const std::vector<std::string>& command) {
    std::vector<char*> argv;
    for (const std::string& word : command) argv.push_back(const_cast<char*>(word.c_str()));
    argv.push_back(nullptr);
    return argv;
}

struct Pipe {
    int readEnd, writeEnd;
    Pipe() {
        int fds[2];
        if (::pipe2(fds, O_CLOEXEC) != 0) abort();
        readEnd = fds[0];
        writeEnd = fds[1];
    }
};

pid_t spawn(const std::vector<std::string>& command, int input, int output, int error) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (input >= 0) posix_spawn_file_actions_adddup2(&actions, input, 0);
    posix_spawn_file_actions_adddup2(&actions, output, 1);
    if (error >= 0) posix_spawn_file_actions_adddup2(&actions, error, 2);
    pid_t pid = -1;
    if (posix_spawnp(&pid, command[0].c_str(), &actions, nullptr, argvOf(command).data(), environ))
        pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    return pid;
}

int statusOf(int raw) {
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
}

}  // namespace

ChildRegistration::ChildRegistration(const char* name, ChildBody body) {
    bodies()[name] = body;
}

void ChildSide::say(const std::string& line) {
    writeAll(1, line + "\n");
}

std::string ChildSide::hear() {
    static std::string pending;
    return readLine(0, pending);
}

ChildProcess::ChildProcess(const std::string& name, const std::vector<std::string>& arguments) {
    ::signal(SIGPIPE, SIG_IGN);
    Pipe down, up;
    std::vector<std::string> command{"/proc/self/exe", childFlag, name};
    command.insert(command.end(), arguments.begin(), arguments.end());
    pid_ = spawn(command, down.readEnd, up.writeEnd, -1);
    ::close(down.readEnd);
    ::close(up.writeEnd);
    toChild_ = down.writeEnd;
    fromChild_ = up.readEnd;
    EXPECT_GT(pid_, 0);
}

ChildProcess::~ChildProcess() {
    kill();
    ::close(toChild_);
    ::close(fromChild_);
}

void ChildProcess::say(const std::string& line) {
    writeAll(toChild_, line + "\n");
}

std::string ChildProcess::hear() {
    return readLine(fromChild_, pending_);
}

void ChildProcess::kill() {
    if (pid_ > 0) ::kill(pid_, SIGKILL);
    wait();
}

int ChildProcess::wait() {
    if (pid_ > 0) {
        int raw = 0;
        ::waitpid(pid_, &raw, 0);
        status_ = statusOf(raw);
        pid_ = -1;
    }
    return status_;
}

ProgramResult runProgram(const std::vector<std::string>& command) {
    Pipe output, error;
    const pid_t pid = spawn(command, -1, output.writeEnd, error.writeEnd);
    ::close(output.writeEnd);
    ::close(error.writeEnd);
    ProgramResult result{-1, {}, {}};
    pollfd ends[2]{{output.readEnd, POLLIN, 0}, {error.readEnd, POLLIN, 0}};
    std::string* texts[2]{&result.output, &result.error};
    for (int open = 2; open > 0;) {
        ::poll(ends, 2, -1);
        for (int i = 0; i < 2; ++i) {
            if (!ends[i].revents) continue;
            char buffer[4096];
            const ssize_t n = ::read(ends[i].fd, buffer, sizeof buffer);
            if (n > 0) {
                texts[i]->append(buffer, static_cast<std::size_t>(n));
            } else {
                ::close(ends[i].fd);
                ends[i].fd = -1;
                --open;
            }
        }
    }
    int raw = 0;
    if (pid > 0 && ::waitpid(pid, &raw, 0) == pid) result.status = statusOf(raw);
    return result;
}

}  // namespace zlk::test

int main(int argc, char** argv) {
    if (argc > 2 && std::string(argv[1]) == zlk::test::childFlag) {
        const auto body = zlk::test::bodies().find(argv[2]);
        if (body == zlk::test::bodies().end()) return 99;
        zlk::test::ChildSide side({argv + 3, argv + argc});
        return body->second(side);
    }
    ::testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
