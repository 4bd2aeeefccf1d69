#pragma once
// What the kernel reports of a file, translated to the terms of files.h.

#include <sys/stat.h>

#include <optional>

#include "platform/files.h"

namespace zlk::platform {

/// Gives the type, mode, inode number, size and times of an entry; of a symbolic link, those of the
/// link. An empty `name` means `folder` itself. False with errno.
bool statEntry(int folder, const char* name, struct statx& status) noexcept;

inline bool isFolder(const struct statx& status) noexcept {
    return S_ISDIR(status.stx_mode);
}
inline bool isFile(const struct statx& status) noexcept {
    return S_ISREG(status.stx_mode);
}
/// Whether a file is read-only, which means that its owner may not write it. A picture on a card is
/// read-only if it was protected in the camera.
inline bool isReadOnlyMode(unsigned mode) noexcept {
    return S_ISREG(mode) && !(mode & S_IWUSR);
}

/// Whether the file system of an open folder keeps hidden and system attributes (FAT, exFAT).
bool keepsFatAttributes(int folder) noexcept;

/// The attributes of a file or folder. `fat` are the attributes that its file system keeps
/// (fatAttributes); without them a name with a leading dot counts as hidden, except `.` and `..`.
DWORD attributesOf(const struct statx& status, const char* name,
                   std::optional<DWORD> fat = std::nullopt) noexcept;

/// The FAT attributes of an open file or folder; none where they can't be read.
std::optional<DWORD> fatAttributes(int file) noexcept;

/// Sets an entry's size, which is 0 for a folder, and its times. The last write stands in for a
/// creation time that the file system doesn't know.
void setSizeAndTimes(WIN32_FIND_DATAW& entry, const struct statx& status) noexcept;

}  // namespace zlk::platform
