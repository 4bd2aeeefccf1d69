#pragma once
// What the system tells of a file, in the terms of files.h.

#include <sys/stat.h>

#include <optional>

#include "platform/files.h"

namespace zlk::platform {

/// Asks for type, mode, number, size and times, and no more: some file systems pay for each. `name`
/// empty: `folder` itself. A link stands for itself. False with errno.
bool statEntry(int folder, const char* name, struct statx& status) noexcept;

inline bool isFolder(const struct statx& status) noexcept {
    return S_ISDIR(status.stx_mode);
}
inline bool isFile(const struct statx& status) noexcept {
    return S_ISREG(status.stx_mode);
}
/// Read-only is a file that its owner may not write: on a card, one protected in the camera.
inline bool isReadOnlyMode(unsigned mode) noexcept {
    return S_ISREG(mode) && !(mode & S_IWUSR);
}

/// Whether the file system of an open folder keeps hidden and system attributes.
bool keepsFatAttributes(int folder) noexcept;

/// The attributes of a file or folder. `fat`: those that its file system keeps, by fatAttributes;
/// without them a name with a leading dot is hidden.
DWORD attributesOf(const struct statx& status, const char* name,
                   std::optional<DWORD> fat = std::nullopt) noexcept;

/// The FAT attributes of an open file or folder; none where they can't be read.
std::optional<DWORD> fatAttributes(int file) noexcept;

/// All of a walk's entry but attributes and names.
void setSizeAndTimes(WIN32_FIND_DATAW& entry, const struct statx& status) noexcept;

}  // namespace zlk::platform
