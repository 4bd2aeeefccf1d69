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

/// To one that is gone nothing is said, which the other way shows.
void writeLine(FILE* stream, const std::string& line) {
    std::fwrite(line.data(), 1, line.size(), stream);
    std::fputc('\n', stream);
    std::fflush(stream);
}

std::string readLine(FILE* stream) {
    std::string line;
    for (int c; (c = std::fgetc(stream)) != '\n'; line += static_cast<char>(c))
        if (c == EOF) return {};
    return line;
}

struct Pipe {
    Pipe() {
        if (::pipe2(ends, O_CLOEXEC) != 0) abort();
    }
    int ends[2];
};

/// As the system wants them.
std::vector<char*> wordsOf(const std::vector<std::string>& command) {
    std::vector<char*> words;
    for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    return words;
}

pid_t spawn(const std::vector<std::string>& command, int input, int output, int error) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    const int from[]{input, output, error};
    for (int to = 0; to < 3; ++to)
        if (from[to] >= 0) posix_spawn_file_actions_adddup2(&actions, from[to], to);
    pid_t pid = -1;
    const std::vector<char*> words = wordsOf(command);
    if (posix_spawnp(&pid, words[0], &actions, nullptr, words.data(), environ)) pid = -1;
    posix_spawn_file_actions_destroy(&actions);
    return pid;
}

int statusOf(int raw) {
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
}

ZLK_CHILD(program) {
    return ::execv(child.arguments[0].c_str(), wordsOf(child.arguments).data());
}

}  // namespace

ChildRegistration::ChildRegistration(const char* name, ChildBody body) {
    bodies()[name] = body;
}

void ChildSide::say(const std::string& line) {
    writeLine(stdout, line);
}

std::string ChildSide::hear() {
    return readLine(stdin);
}

ChildProcess::ChildProcess(const std::string& name, const std::vector<std::string>& arguments) {
    ::signal(SIGPIPE, SIG_IGN);
    Pipe down, up;
    std::vector<std::string> command{"/proc/self/exe", childFlag, name};
    command.insert(command.end(), arguments.begin(), arguments.end());
    pid_ = spawn(command, down.ends[0], up.ends[1], -1);
    ::close(down.ends[0]);
    ::close(up.ends[1]);
    toChild_ = ::fdopen(down.ends[1], "w");
    fromChild_ = ::fdopen(up.ends[0], "r");
    EXPECT_GT(pid_, 0);
}

ChildProcess::~ChildProcess() {
    kill();
    std::fclose(toChild_);
    std::fclose(fromChild_);
}

void ChildProcess::say(const std::string& line) {
    writeLine(toChild_, line);
}

std::string ChildProcess::hear() {
    return readLine(fromChild_);
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
