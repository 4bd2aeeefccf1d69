#include "tools/zlkcam/ChildProgram.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "tools/zlkcam/Failure.h"

namespace zlk {
namespace {

/// Ignores Ctrl-C and Ctrl-\ as long as it lives. The terminal sends them to all programs of the
/// foreground, so the child gets them anyway and decides what to do. This program has to outlive
/// the child.
class KeysIgnored {
  public:
    KeysIgnored() {
        for (std::size_t i = 0; i < keys.size(); ++i) before_[i] = ::signal(keys[i], SIG_IGN);
    }
    ~KeysIgnored() {
        for (std::size_t i = 0; i < keys.size(); ++i) ::signal(keys[i], before_[i]);
    }
    KeysIgnored(const KeysIgnored&) = delete;
    KeysIgnored& operator=(const KeysIgnored&) = delete;

    /// The signals whose default actions the child gets back: those that weren't ignored before
    /// this object was made.
    sigset_t forChild() const {
        sigset_t set;
        ::sigemptyset(&set);
        for (std::size_t i = 0; i < keys.size(); ++i)
            if (before_[i] != SIG_IGN) ::sigaddset(&set, keys[i]);
        return set;
    }

  private:
    static constexpr std::array keys{SIGINT, SIGQUIT};
    std::array<void (*)(int), 2> before_{};
};

}  // namespace

int runProgram(const std::vector<std::string>& command, bool quietly) {
    // posix_spawn takes char* for historical reasons, and doesn't change the words.
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (const std::string& word : command) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    const KeysIgnored keys;
    const sigset_t defaults = keys.forChild();
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawnattr_init(&attributes);
    // In JSON mode standard output belongs to the answer.
    if (quietly) ::posix_spawn_file_actions_adddup2(&actions, STDERR_FILENO, STDOUT_FILENO);
    // Ignored signals would be inherited by the child, so their default actions are restored in it.
    ::posix_spawnattr_setsigdefault(&attributes, &defaults);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    pid_t child = 0;
    const int error =
        ::posix_spawnp(&child, arguments[0], &actions, &attributes, arguments.data(), environ);
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw Failure(ExitStatus::FileUnusable,
                      command.front() + " can't be run: " + std::strerror(error) + ".");
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    constexpr int bySignal = 128;  // as shells report it
    return WIFEXITED(status) ? WEXITSTATUS(status) : bySignal + WTERMSIG(status);
}

}  // namespace zlk
