#include "platform/files/FileAttributes.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <linux/msdos_fs.h>
#include <sys/ioctl.h>
#include <sys/vfs.h>

#include <cstring>

#include "platform/clock.h"

namespace zlk::platform {
namespace {

FILETIME fileTime(const statx_timestamp& time) noexcept {
    return fileTimeFromUnix(time.tv_sec, time.tv_nsec);
}

}  // namespace

bool statEntry(int folder, const char* name, struct statx& status) noexcept {
    constexpr unsigned wanted =
        STATX_TYPE | STATX_MODE | STATX_INO | STATX_SIZE | STATX_ATIME | STATX_MTIME | STATX_BTIME;
    const int flags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT | (*name ? 0 : AT_EMPTY_PATH);
    return ::statx(folder, name, flags, wanted, &status) == 0;
}

bool keepsFatAttributes(int folder) noexcept {
    struct statfs system;
    if (::fstatfs(folder, &system) != 0) return false;
    return system.f_type == MSDOS_SUPER_MAGIC || system.f_type == EXFAT_SUPER_MAGIC;
}

DWORD attributesOf(const struct statx& status, const char* name,
                   std::optional<DWORD> fat) noexcept {
    DWORD attributes = isFolder(status) ? FILE_ATTRIBUTE_DIRECTORY : 0;
    if (isReadOnlyMode(status.stx_mode)) attributes |= FILE_ATTRIBUTE_READONLY;
    if (fat) {
        attributes |= *fat & (FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM);
    } else if (name[0] == '.' && std::strcmp(name, ".") != 0 && std::strcmp(name, "..") != 0) {
        attributes |= FILE_ATTRIBUTE_HIDDEN;
    }
    return attributes ? attributes : FILE_ATTRIBUTE_NORMAL;
}

std::optional<DWORD> fatAttributes(int file) noexcept {
    static_assert(ATTR_HIDDEN == FILE_ATTRIBUTE_HIDDEN && ATTR_SYS == FILE_ATTRIBUTE_SYSTEM);
    __u32 attributes = 0;
    if (::ioctl(file, FAT_IOCTL_GET_ATTRIBUTES, &attributes) != 0) return std::nullopt;
    return attributes;
}

void setSizeAndTimes(WIN32_FIND_DATAW& entry, const struct statx& status) noexcept {
    entry.ftLastWriteTime = fileTime(status.stx_mtime);
    entry.ftLastAccessTime = fileTime(status.stx_atime);
    entry.ftCreationTime =
        status.stx_mask & STATX_BTIME ? fileTime(status.stx_btime) : entry.ftLastWriteTime;
    const std::uint64_t size = isFile(status) ? status.stx_size : 0;
    entry.nFileSizeHigh = static_cast<DWORD>(size >> 32);
    entry.nFileSizeLow = static_cast<DWORD>(size);
}

}  // namespace zlk::platform
