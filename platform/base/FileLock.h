#pragma once
// The locks on whole files by which processes agree (F_OFD_*). Nothing but a header, since hosts of
// devices don't link the platform library.

#include <fcntl.h>
#include <unistd.h>

namespace zlk::platform {

/// F_WRLCK, or F_UNLCK to let go.
inline struct flock wholeFile(short type) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    return lock;
}

}  // namespace zlk::platform
