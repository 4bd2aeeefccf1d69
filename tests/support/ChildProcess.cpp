#include "tests/support/ChildProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/mman.h>

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

struct Pipe {
    Pipe() {
        if (::pipe2(ends, O_CLOEXEC) != 0) abort();
    }
    int ends[2];
};

pid_t spawn(const std::vector<std::string>& command, int input, int output, int error) {
    std::vector<char*> argv;
    for (const std::string& word : command) argv.push_back(const_cast<char*>(word.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    const int from[]{input, output, error};
    for (int to = 0; to < 3; ++to)
        if (from[to] >= 0) posix_spawn_file_actions_adddup2(&actions, from[to], to);
    pid_t pid = -1;
    if (posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ)) pid = -1;
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
    pid_ = spawn(command, down.ends[0], up.ends[1], -1);
    ::close(down.ends[0]);
    ::close(up.ends[1]);
    toChild_ = down.ends[1];
    fromChild_ = up.ends[0];
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
    const int output = ::memfd_create("output", MFD_CLOEXEC);
    const int error = ::memfd_create("error", MFD_CLOEXEC);
    const pid_t pid = spawn(command, -1, output, error);
    ProgramResult result{-1, {}, {}};
    int raw = 0;
    if (pid > 0 && ::waitpid(pid, &raw, 0) == pid) result.status = statusOf(raw);
    for (const auto& [fd, text] : {std::pair(output, &result.output), {error, &result.error}}) {
        text->resize(static_cast<std::size_t>(::lseek(fd, 0, SEEK_END)));
        EXPECT_EQ(::pread(fd, text->data(), text->size(), 0), static_cast<ssize_t>(text->size()));
        ::close(fd);
    }
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
