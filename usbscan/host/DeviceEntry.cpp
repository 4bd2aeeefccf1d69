#include "usbscan/host/DeviceEntry.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>

#include "usbscan/HostEndpoint.h"

namespace zlk::usbscan {
namespace {

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

/// The text with spaces for control characters, since a line break would end its line of the file
/// early.
std::string oneLine(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7F; }, ' ');
    return text;
}

/// Writes the file under another name first, since other processes read it as soon as the lock is
/// held, and must never see half of it.
void write(const std::string& path, const DeviceDescription& description) {
    char ids[32];
    std::snprintf(ids, sizeof ids, "vid %04x\npid %04x\n", description.vid, description.pid);
    const std::string text = ids + ("manufacturer " + oneLine(description.manufacturer)) +
                             "\nproduct " + oneLine(description.product) + "\nserial " +
                             oneLine(description.serial) + '\n';
    constexpr int flags = O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW;
    const std::string fresh = path + ".new";
    const Descriptor file(::open(fresh.c_str(), flags, 0600));
    if (!file ||
        ::write(file.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size()) ||
        ::rename(fresh.c_str(), path.c_str()) != 0)
        fail("device entry");
}

}  // namespace

DeviceEntry::DeviceEntry(const std::string& folder, const std::string& name,
                         const DeviceDescription& description)
    : path_(folder + '/' + name), lock_(DeviceLock::take(folder, name)) {
    if (!lock_) fail("device lock");
    socket_ = DeviceAddress(folder, name).listen();
    if (!socket_) fail("device socket");
    write(path_ + ".device", description);
}

DeviceEntry::~DeviceEntry() {
    // The lock file stays. If it were removed, a process that has just opened it could lock a file
    // that isn't in the folder any more, and two processes would serve one name.
    ::unlink((path_ + ".device").c_str());
    ::unlink((path_ + ".sock").c_str());
}

}  // namespace zlk::usbscan
