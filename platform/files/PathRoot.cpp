#include "platform/files/PathRoot.h"

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>

namespace zlk::platform {
namespace {

constexpr int folderFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;

// Opens a path within the fence of `base`; -1 with errno.
int openBeneath(int base, const char* way, int flags) noexcept {
    open_how how{};
    how.flags = static_cast<unsigned>(flags);
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_MAGICLINKS;
    int fd;
    // The call may fail with EAGAIN if any folder on the machine is renamed at that moment, because
    // the kernel can't be sure that the path stayed inside.
    for (int tries = 0; tries < 100; ++tries) {
        fd = static_cast<int>(::syscall(SYS_openat2, base, way, &how, sizeof how));
        if (fd >= 0 || (errno != EAGAIN && errno != EINTR)) break;
    }
    return fd;
}

/// Whether the kernel offers openat2; asked once. Old kernels don't have the call, and some
/// containers forbid it.
bool kernelFences() noexcept {
    static const bool known = [] {
        const Descriptor probe(openBeneath(AT_FDCWD, ".", folderFlags));
        return probe || (errno != ENOSYS && errno != EPERM);
    }();
    return known;
}

/// The substitute for openBeneath: opens the path name by name and follows no link.
int openWithoutLinks(int base, const std::string& way, int flags) noexcept {
    Descriptor folder;
    int from = base;
    std::size_t start = 0;
    for (std::size_t end; (end = way.find('/', start)) != std::string::npos; start = end + 1) {
        const std::string name = way.substr(start, end - start);
        Descriptor next(::openat(from, name.c_str(), folderFlags | O_NOFOLLOW));
        if (!next) return -1;
        folder = std::move(next);
        from = folder.get();
    }
    return ::openat(from, way.c_str() + start, flags | O_NOFOLLOW);
}

}  // namespace

Descriptor PathRoot::open(const std::string& way, int flags) const {
    const int base = folder_ ? folder_.get() : AT_FDCWD;
    flags |= O_CLOEXEC;
    if (ofMachine_) return Descriptor(::open(('/' + way).c_str(), flags));
    if (!fenced_) return Descriptor(::openat(base, way.c_str(), flags));
    return Descriptor(kernelFences() ? openBeneath(base, way.c_str(), flags)
                                     : openWithoutLinks(base, way, flags));
}

}  // namespace zlk::platform
