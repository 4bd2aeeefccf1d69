#include "usbscan/client/HostStart.h"

#include <fcntl.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <cerrno>
#include <ctime>
#include <mutex>
#include <vector>

#include "platform/base/Diagnose.h"
#include "platform/base/ModulesFolder.h"
#include "platform/base/PosixError.h"
#include "platform/base/TrustedFile.h"
#include "platform/error.h"
#include "platform/immortal.h"
#include "platform/settings/PlatformSettings.h"
#include "platform/text.h"
#include "usbscan/HostEndpoint.h"
#include "usbscan/usbscan.h"

namespace zlk::platform {
namespace {

using usbscan::DeviceAddress;
using usbscan::DeviceLock;

constexpr char category[] = "Usbscan";

/// Held while this process has what is its host's: a child that was forked then would keep the
/// device locked, and its socket listening, when that host has ended. No lock that a fork waits for
/// is taken below it.
struct Start {
    Start();
    std::mutex lock;
};

Start& start() {
    static Immortal<Start> instance;
    return *instance;
}

Start::Start() {
    pthread_atfork([] { start().lock.lock(); }, [] { start().lock.unlock(); },
                   [] { start().lock.unlock(); });
}

/// The program; empty if nobody should run it.
std::string hostProgram() {
    const std::u16string set = platformText(u"DeviceHost");
    const std::string path = set.empty() ? modulesFolder() + "/zlk-usbscan" : utf8Text(set);
    return openTrusted(path).path;
}

struct Spawn {
    const char* program;
    const char* node;
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    int result;
};

/// Runs in a process between ours and the host, in our memory, while our thread is stopped.
int spawnAndLeave(void* argument) {
    auto& spawn = *static_cast<Spawn*>(argument);
    ::umask(077);
    char* const arguments[] = {const_cast<char*>(spawn.program), const_cast<char*>(spawn.node),
                               nullptr};
    char path[] = "PATH=/usr/bin:/bin";
    char* const environment[] = {path, nullptr};
    pid_t host;
    spawn.result = ::posix_spawn(&host, spawn.program, &spawn.actions, &spawn.attributes, arguments,
                                 environment);
    return 0;
}

/// We are in somebody else's program. The host is not its child, so that its signals and waits
/// hear nothing of it: the process between has no exit signal and is waited for as a clone.
int runDetached(Spawn& spawn) {
    std::vector<char> stack(64 * 1024);
    const pid_t between =
        ::clone(spawnAndLeave, stack.data() + stack.size(), CLONE_VM | CLONE_VFORK, &spawn);
    if (between < 0) return errno;
    while (::waitpid(between, nullptr, __WCLONE) < 0 && errno == EINTR) {
    }
    return spawn.result;
}

/// 0 or an errno.
int spawnHost(const std::string& program, const std::string& node, const Descriptor& socket,
              const Descriptor& lock) {
    // Above all that the host gets, or one would be overwritten by the other.
    constexpr int aside = 10;
    const Descriptor highSocket(::fcntl(socket.get(), F_DUPFD_CLOEXEC, aside));
    const Descriptor highLock(::fcntl(lock.get(), F_DUPFD_CLOEXEC, aside));
    if (!highSocket || !highLock) return errno;
    Spawn spawn{program.c_str(), node.c_str(), {}, {}, 0};
    ::posix_spawn_file_actions_init(&spawn.actions);
    ::posix_spawnattr_init(&spawn.attributes);
    for (int standard = 0; standard <= 2; ++standard)
        ::posix_spawn_file_actions_addopen(&spawn.actions, standard, "/dev/null", O_RDWR, 0);
    ::posix_spawn_file_actions_adddup2(&spawn.actions, highSocket.get(), 3);
    ::posix_spawn_file_actions_adddup2(&spawn.actions, highLock.get(), 4);
    ::posix_spawn_file_actions_addclosefrom_np(&spawn.actions, 5);
    ::posix_spawn_file_actions_addchdir_np(&spawn.actions, "/");
    sigset_t none, all;
    ::sigemptyset(&none);
    ::sigfillset(&all);
    ::posix_spawnattr_setsigmask(&spawn.attributes, &none);
    ::posix_spawnattr_setsigdefault(&spawn.attributes, &all);
    ::posix_spawnattr_setflags(&spawn.attributes,
                               POSIX_SPAWN_SETSID | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    const int error = runDetached(spawn);
    ::posix_spawnattr_destroy(&spawn.attributes);
    ::posix_spawn_file_actions_destroy(&spawn.actions);
    return error;
}

/// A connection to a host that is started here. Empty with ERROR_BUSY if another process has the
/// lock: a host that ends, or one that is just being started.
Descriptor startHost(const std::string& folder, const AttachedDevice& device,
                     const DeviceAddress& address) {
    const std::string program = hostProgram();
    if (program.empty()) return {};
    const std::lock_guard guard(start().lock);
    const Descriptor lock = DeviceLock::take(folder, device.name);
    if (!lock) {
        setLastErrorFromErrno();
        if (GetLastError() != ERROR_BUSY)
            diagnose(category, u"Can't lock %s, error %d", device.name, GetLastError());
        return {};
    }
    // It listens before the host runs, so that whoever comes now finds it.
    const Descriptor socket = address.listen();
    Descriptor connected = socket ? address.connect() : Descriptor();
    const int error = connected ? spawnHost(program, device.node, socket, lock) : errno;
    if (error == 0) return connected;
    SetLastError(errorFromErrno(error));
    diagnose(category, u"Can't start %s for %s, error %d", program, device.node, GetLastError());
    return {};
}

}  // namespace

Descriptor connectToHost(const AttachedDevice& device) {
    const std::string folder = deviceFolder();
    if (folder.empty()) return {};
    const DeviceAddress address(folder, device.name);
    // A host that ends holds its lock for some moments more.
    constexpr int tries = 500;
    for (int i = 0; i < tries; ++i) {
        if (Descriptor socket = address.connect()) return socket;
        if (device.node.empty()) break;
        if (Descriptor socket = startHost(folder, device, address)) return socket;
        if (GetLastError() != ERROR_BUSY) return {};
        constexpr timespec pause{0, 10'000'000};
        ::nanosleep(&pause, nullptr);
    }
    SetLastError(device.node.empty() ? ERROR_FILE_NOT_FOUND : ERROR_BUSY);
    return {};
}

}  // namespace zlk::platform
