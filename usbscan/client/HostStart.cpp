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

/// The lock is held while this process has open descriptors that are meant for the new host. A
/// child forked in that time would inherit them, and keep the device locked and its socket
/// listening after the host has ended; so fork() waits for the lock. No lock that another fork
/// handler takes may be taken while this one is held.
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

/// Path of the host program. Empty with the last error if it can't be opened, or if another user
/// could have replaced it.
std::string hostProgram() {
    const std::u16string set = platformText(u"DeviceHost");
    const std::string path = set.empty() ? modulesFolder() + "/zlk-usbscan" : utf8Text(set);
    return openTrusted(path).path;
}

/// What spawnAndLeave() needs, and its result: 0 or an errno.
struct Spawn {
    const char* program;
    const char* node;
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    int result;
};

/// Runs in an intermediate process, which shares our memory while our thread is suspended.
int spawnAndLeave(void* argument) {
    auto& spawn = *static_cast<Spawn*>(argument);
    ::umask(077);
    char* const arguments[] = {const_cast<char*>(spawn.program), const_cast<char*>(spawn.node),
                               nullptr};
    // The environment of the application doesn't reach the host, which serves other programs too.
    char path[] = "PATH=/usr/bin:/bin";
    char* const environment[] = {path, nullptr};
    pid_t host;
    spawn.result = ::posix_spawn(&host, spawn.program, &spawn.actions, &spawn.attributes, arguments,
                                 environment);
    return 0;
}

/// Starts the host so that it isn't a child of the application, whose SIGCHLD handlers and waits
/// must not notice it. The intermediate process is a clone without an exit signal, which ordinary
/// waits don't see; the host becomes an orphan when that process ends.
int runDetached(Spawn& spawn) {
    std::vector<char> stack(64 * 1024);
    const pid_t between =
        ::clone(spawnAndLeave, stack.data() + stack.size(), CLONE_VM | CLONE_VFORK, &spawn);
    if (between < 0) return errno;
    while (::waitpid(between, nullptr, __WCLONE) < 0 && errno == EINTR) {
    }
    return spawn.result;
}

/// Starts the host for this device node with its listening socket as descriptor 3 and its lock as
/// descriptor 4. Returns 0 or an errno.
int spawnHost(const std::string& program, const std::string& node, const Descriptor& socket,
              const Descriptor& lock) {
    // The two descriptors are first duplicated to numbers above those that the host gets: if the
    // lock were descriptor 3, the socket would overwrite it.
    constexpr int aside = 10;
    const Descriptor highSocket(::fcntl(socket.get(), F_DUPFD_CLOEXEC, aside));
    const Descriptor highLock(::fcntl(lock.get(), F_DUPFD_CLOEXEC, aside));
    if (!highSocket || !highLock) return errno;
    Spawn spawn{program.c_str(), node.c_str(), {}, {}, 0};
    ::posix_spawn_file_actions_init(&spawn.actions);
    ::posix_spawnattr_init(&spawn.attributes);
    for (int standard = 0; standard <= 2; ++standard)
        ::posix_spawn_file_actions_addopen(&spawn.actions, standard, "/dev/null", O_RDWR, 0);
    // Of the application's descriptors only these two reach the host.
    ::posix_spawn_file_actions_adddup2(&spawn.actions, highSocket.get(), 3);
    ::posix_spawn_file_actions_adddup2(&spawn.actions, highLock.get(), 4);
    ::posix_spawn_file_actions_addclosefrom_np(&spawn.actions, 5);
    // The host must not keep the application's folder busy, such as one on a card.
    ::posix_spawn_file_actions_addchdir_np(&spawn.actions, "/");
    // Blocked and ignored signals would be inherited from the application.
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

/// Starts the host and connects to it. Empty with the last error, which is ERROR_BUSY if another
/// process has the lock: a host that is ending, or one that is just being started.
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
    // The socket listens before the host runs, so that clients can connect from now on.
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
    // A host that is ending may hold its lock for some moments more. The tries take five seconds.
    constexpr int tries = 500;
    for (int i = 0; i < tries; ++i) {
        if (Descriptor socket = address.connect()) return socket;
        // A device that isn't on the bus is served by a process that isn't ours to start.
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
