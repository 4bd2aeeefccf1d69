#include "platform/objects/SharedTable.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <ctime>

#include "platform/base/Diagnose.h"
#include "platform/base/FileLock.h"
#include "platform/base/MachineRoot.h"
#include "platform/base/PosixError.h"
#include "platform/error.h"

namespace zlk::platform {
namespace {

constexpr std::size_t maxTable = 64 * 1024;  // bytes; the rest isn't read

Descriptor openFile(const std::string& path, int flags) {
    const mode_t mode = MachineRoot::instance().fileMode();
    Descriptor file(::open(path.c_str(), flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, mode));
    // open() applies the process's umask, which must not shut a group out. fchmod() fails for a
    // file of another user, whose mode was set by its maker.
    if (file && (flags & O_CREAT)) ::fchmod(file.get(), mode);
    return file;
}

}  // namespace

SharedTable::SharedTable(const char* name) : path_(MachineRoot::instance().folder("run")) {
    if (!path_.empty()) path_ += std::string("/") + name;
}

std::string SharedTable::read() const {
    const Descriptor file = path_.empty() ? Descriptor() : openFile(path_, O_RDONLY);
    std::string bytes;
    char buffer[1024];
    for (bool more = static_cast<bool>(file); more && bytes.size() < maxTable;) {
        const ssize_t size = ::read(file.get(), buffer, sizeof buffer);
        if (size > 0) bytes.append(buffer, static_cast<std::size_t>(size));
        more = size == sizeof buffer;
    }
    return bytes;
}

bool SharedTable::replace(const std::string& content) const {
    // The lock makes the caller the only writer, so the name of the new file can be a fixed one.
    const std::string fresh = path_ + ".new";
    const Descriptor file = openFile(fresh, O_WRONLY | O_CREAT | O_TRUNC);
    const bool written = file &&
                         ::write(file.get(), content.data(), content.size()) ==
                             static_cast<ssize_t>(content.size()) &&
                         ::rename(fresh.c_str(), path_.c_str()) == 0;
    if (!written) diagnose("SharedTable", u"Can't write %s", path_);
    return written;
}

SharedTable::Lock::Lock(const SharedTable& table) {
    if (table.path_.empty()) return;
    Descriptor file = openFile(table.path_ + ".lock", O_RDWR | O_CREAT);
    if (!file) {
        setLastErrorFromErrno();
        return;
    }
    struct flock lock = wholeFile(F_WRLCK);
    // A process holds the lock for a moment, unless it is stopped in that moment.
    constexpr int tries = 200;
    for (int i = 0; i < tries; ++i) {
        const bool contested =
            ::fcntl(file.get(), F_OFD_SETLK, &lock) != 0 && (errno == EAGAIN || errno == EACCES);
        if (!contested) {
            file_ = std::move(file);
            return;
        }
        constexpr timespec pause{0, 10'000'000};
        ::nanosleep(&pause, nullptr);
    }
    SetLastError(ERROR_BUSY);
}

SharedTable::Lock::~Lock() {
    // The file is unlocked before it is closed: a child that was forked meanwhile has the
    // descriptor, and the lock, too.
    struct flock none = wholeFile(F_UNLCK);
    if (file_) ::fcntl(file_.get(), F_OFD_SETLK, &none);
}

}  // namespace zlk::platform
