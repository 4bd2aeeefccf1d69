#pragma once
// The request by which fcntl() locks, unlocks or tests a whole file. The locks belong to open file
// descriptions (F_OFD_*). This is a header only, because zlk-usbscan uses it without the platform
// library.

#include <fcntl.h>
#include <unistd.h>

namespace zlk::platform {

/// The request for fcntl() that locks a whole file (F_WRLCK, F_RDLCK) or unlocks it (F_UNLCK). Its
/// length stays 0, which fcntl() takes for "to the end of the file".
inline struct flock wholeFile(short type) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    return lock;
}

}  // namespace zlk::platform
