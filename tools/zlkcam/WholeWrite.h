#pragma once
// Writing all of some bytes, which one call may do only in part.

#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <span>

namespace zlk {

/// False with errno, and then with fewer bytes in the file. A disk that takes nothing and gives no
/// reason counts as full (ENOSPC).
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
