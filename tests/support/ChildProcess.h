#pragma once
// Tests of what crosses processes: a child is this very program again, running a body that is
// registered by name beside the test. Parent and child work in lock step by lines.
//
//     ZLK_CHILD(holdsTheClaim) {
//         child.say("held");
//         child.hear();  // until the parent says something, or is gone
//         return 0;
//     }
//     ... ChildProcess holder("holdsTheClaim");
//         ASSERT_EQ(holder.hear(), "held");

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

namespace zlk::test {

/// The child's end of the talk.
class ChildSide {
  public:
    explicit ChildSide(std::vector<std::string> args) : arguments(std::move(args)) {}
    const std::vector<std::string> arguments;  ///< after the name
    void say(const std::string& line);
    /// One line, without its end; empty when the parent is gone.
    std::string hear();
};

using ChildBody = int (*)(ChildSide& child);

struct ChildRegistration {
    ChildRegistration(const char* name, ChildBody body);
};

/// A running child; killed and reaped by the destructor. One named `program` becomes the program
/// that its arguments call.
class ChildProcess {
  public:
    explicit ChildProcess(const std::string& name, const std::vector<std::string>& arguments = {});
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t pid() const { return pid_; }
    void say(const std::string& line);
    /// One line, without its end; empty when the child has ended.
    std::string hear();
    /// SIGKILL, and waits for its end.
    void kill();
    /// The exit status; -1 for a child that was killed.
    int wait();

  private:
    pid_t pid_ = -1;
    FILE* toChild_;
    FILE* fromChild_;
    int status_ = -1;
};

/// What `body` gives in a forked child, by its exit status; not 0 where it hangs or crashes.
template <class Body>
int forked(Body body, pid_t (*doFork)() = ::fork) {
    const pid_t pid = doFork();
    if (pid == 0) {
        ::alarm(30);
        ::_exit(body());
    }
    int status = -1;
    ::waitpid(pid, &status, 0);
    return status;
}

/// Runs a program to its end: its exit status (-1 if killed), and what it printed.
struct ProgramResult {
    int status;
    std::string output;  ///< standard output
    std::string error;   ///< standard error
};
ProgramResult runProgram(const std::vector<std::string>& command);

}  // namespace zlk::test

#define ZLK_CHILD(name)                                                                          \
    static int childBody_##name([[maybe_unused]] zlk::test::ChildSide& child);                   \
    static const zlk::test::ChildRegistration childRegistration_##name(#name, childBody_##name); \
    static int childBody_##name([[maybe_unused]] zlk::test::ChildSide& child)
