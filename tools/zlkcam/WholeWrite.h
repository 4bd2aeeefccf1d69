#pragma once
// Writes all of a block of bytes, since one system call may write only a part of it.

#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <span>

namespace zlk {

/// False with errno if a write fails; a part of the bytes may have been written then. If the system
/// writes nothing and reports no error, the disk counts as full (ENOSPC).
inline bool writeWhole(int file, std::span<const std::byte> bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(file, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR) continue;
        if (written == 0) errno = ENOSPC;
        if (written <= 0) return false;
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return true;
}

}  // namespace zlk
