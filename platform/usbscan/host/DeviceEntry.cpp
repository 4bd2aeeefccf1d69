#include "platform/usbscan/host/DeviceEntry.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>

namespace zlk::usbscan {
namespace {

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

std::string oneLine(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7F; }, ' ');
    return text;
}

int openFile(const std::string& path, int flags) {
    return ::open(path.c_str(), flags | O_CLOEXEC | O_NOFOLLOW, 0600);
}

void write(const std::string& path, const DeviceDescription& description) {
    char ids[32];
    std::snprintf(ids, sizeof ids, "vid %04x\npid %04x\n", description.vid, description.pid);
    const std::string text = ids + ("manufacturer " + oneLine(description.manufacturer)) +
                             "\nproduct " + oneLine(description.product) + "\nserial " +
                             oneLine(description.serial) + '\n';
    const int file = openFile(path, O_WRONLY | O_CREAT | O_TRUNC);
    if (file < 0) fail("device entry");
    const bool written =
        ::write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    ::close(file);
    if (!written) fail("device entry");
}

/// A socket's address holds some hundred characters, a folder's path may be longer.
int listenIn(const std::string& folder, const std::string& name) {
    const int directory = ::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    if (directory < 0) fail("device folder");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "/proc/self/fd/%d/%s.sock", directory,
                  name.c_str());
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    ::unlink(address.sun_path);
    const bool listening =
        socket >= 0 && ::bind(socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
        ::listen(socket, 64) == 0;
    const int error = errno;
    ::close(directory);
    if (listening) return socket;
    if (socket >= 0) ::close(socket);
    errno = error;
    fail("device socket");
}

}  // namespace

DeviceEntry::DeviceEntry(const std::string& folder, const std::string& name,
                         const DeviceDescription& description)
    : folder_(folder), name_(name) {
    const std::string path = folder + '/' + name;
    lock_ = openFile(path + ".lock", O_RDWR | O_CREAT);
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    if (lock_ < 0) fail("device lock");
    if (::fcntl(lock_, F_OFD_SETLK, &lock) != 0) {
        ::close(lock_);
        errno = EBUSY;
        fail("device lock");
    }
    try {
        socket_ = listenIn(folder, name);
        write(path + ".device", description);
    } catch (...) {
        if (socket_ >= 0) ::close(socket_);
        ::close(lock_);
        throw;
    }
}

DeviceEntry::~DeviceEntry() {
    const std::string path = folder_ + '/' + name_;
    ::unlink((path + ".device").c_str());
    ::unlink((path + ".sock").c_str());
    ::close(socket_);
    // The lock's file stays: whoever waits for it must not hold one that nobody finds any more.
    ::close(lock_);
}

}  // namespace zlk::usbscan
