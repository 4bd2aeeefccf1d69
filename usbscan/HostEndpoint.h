#pragma once
// Where clients find the host of a device, that is, the process that serves it: in the folder of
// devices, <name>.lock is locked by the host, and <name>.sock is the socket on which it listens.
// Everything here is inline, since zlk-usbscan doesn't link the platform library.

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <utility>

#include "platform/base/FileLock.h"
#include "platform/descriptor.h"

namespace zlk::usbscan {

/// The lock that makes a process the only host of a device. It is an open file description lock, so
/// the host that a client starts inherits it with the descriptor.
class DeviceLock {
  public:
    /// Takes the lock, which is held until the last duplicate of the descriptor is closed. Empty
    /// with errno; EBUSY if the lock is held already.
    static Descriptor take(const std::string& folder, const std::string& name) {
        Descriptor file = open(folder, name, O_CREAT);
        struct flock lock = platform::wholeFile(F_WRLCK);
        if (!file || ::fcntl(file.get(), F_OFD_SETLK, &lock) == 0) return file;
        if (errno == EAGAIN || errno == EACCES) errno = EBUSY;
        return {};
    }
    /// Whether some process holds the lock. Never takes the lock.
    static bool isTaken(const std::string& folder, const std::string& name) {
        const Descriptor file = open(folder, name, O_NONBLOCK);
        struct flock lock = platform::wholeFile(F_WRLCK);
        return file && ::fcntl(file.get(), F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
    }

  private:
    static Descriptor open(const std::string& folder, const std::string& name, int flags) {
        const std::string path = folder + '/' + name + ".lock";
        return Descriptor(::open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | flags, 0600));
    }
};

/// The address of a host's socket. A Unix address holds about a hundred characters and the folder's
/// path may be longer, so the socket is named through a descriptor of the folder.
class DeviceAddress {
  public:
    DeviceAddress(const std::string& folder, const std::string& name)
        : folder_(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {
        address_.sun_family = AF_UNIX;
        std::snprintf(address_.sun_path, sizeof address_.sun_path, "/proc/self/fd/%d/%s.sock",
                      folder_.get(), name.c_str());
    }
    /// A blocking connection. Empty with errno.
    Descriptor connect() const {
        Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const bool connected = socket && ::connect(socket.get(), address(), sizeof address_) == 0;
        return connected ? std::move(socket) : Descriptor();
    }
    /// A non-blocking listening socket, which replaces a socket file that an earlier host left.
    /// Only the holder of the device's lock may call this. Empty with errno.
    Descriptor listen() const {
        constexpr int backlog = 64;
        Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        ::unlink(address_.sun_path);
        const bool listening = socket && ::bind(socket.get(), address(), sizeof address_) == 0 &&
                               ::listen(socket.get(), backlog) == 0;
        return listening ? std::move(socket) : Descriptor();
    }

  private:
    const sockaddr* address() const { return reinterpret_cast<const sockaddr*>(&address_); }

    Descriptor folder_;
    sockaddr_un address_{};
};

}  // namespace zlk::usbscan
