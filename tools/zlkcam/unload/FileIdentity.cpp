#include "tools/zlkcam/unload/FileIdentity.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "platform/descriptor.h"

namespace zlk {

std::optional<FileIdentity> identityOf(int file) {
    struct stat status {};
    if (::fstat(file, &status) != 0) return std::nullopt;
    return FileIdentity{status.st_dev, status.st_ino};
}

std::optional<bool> isNameOf(int folder, const std::string& name, int file) {
    const std::optional<FileIdentity> own = identityOf(file);
    if (!own) return std::nullopt;
    struct stat named {};
    if (::fstatat(folder, name.c_str(), &named, AT_SYMLINK_NOFOLLOW) == 0)
        return *own == FileIdentity{named.st_dev, named.st_ino};
    return errno == ENOENT ? std::optional(false) : std::nullopt;
}

std::vector<FileIdentity> wayFrom(int folder) {
    std::vector<FileIdentity> way;
    Descriptor here(::openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    for (;;) {
        const auto identity = here ? identityOf(here.get()) : std::nullopt;
        if (!identity) return {};
        // Only the root is its own parent.
        if (!way.empty() && way.back() == *identity) return way;
        way.push_back(*identity);
        here = Descriptor(::openat(here.get(), "..", O_PATH | O_DIRECTORY | O_CLOEXEC));
    }
}

}  // namespace zlk
