#include "platform/base/PosixError.h"

#include <cerrno>

#include "platform/error.h"

namespace zlk::platform {

DWORD errorFromErrno(int error) noexcept {
    switch (error) {
        case 0:
            return ERROR_SUCCESS;
        case ENOENT:
            return ERROR_FILE_NOT_FOUND;
        case ENOTDIR:
        case ELOOP:
            return ERROR_PATH_NOT_FOUND;
        case EMFILE:
        case ENFILE:
            return ERROR_TOO_MANY_OPEN_FILES;
        // Callers expect ERROR_ACCESS_DENIED for a folder that is opened as a file.
        case EISDIR:
        case EACCES:
        case EPERM:
            return ERROR_ACCESS_DENIED;
        case EBADF:
            return ERROR_INVALID_HANDLE;
        // The kernel has no room for another lock, or for anything else.
        case ENOLCK:
        case ENOMEM:
            return ERROR_NOT_ENOUGH_MEMORY;
        case EROFS:
            return ERROR_WRITE_PROTECT;
        // A card that was pulled or a mount that has vanished leaves these behind.
        case ENODEV:
        case ENXIO:
        case ENOTCONN:
        case ESHUTDOWN:
        case ESTALE:
        case EHOSTDOWN:
        case EHOSTUNREACH:
        case ENOMEDIUM:
            return ERROR_NOT_READY;
        // Somebody else uses the file now: it is leased or mounted, or a program runs from it.
        case EAGAIN:
        case EBUSY:
        case ETXTBSY:
            return ERROR_SHARING_VIOLATION;
        case EOPNOTSUPP:
        case ENOSYS:
        case EXDEV:
            return ERROR_NOT_SUPPORTED;
        case EEXIST:
            return ERROR_FILE_EXISTS;
        case EINVAL:
            return ERROR_INVALID_PARAMETER;
        case ENOSPC:
        case EDQUOT:
            return ERROR_DISK_FULL;
        case EILSEQ:
            return ERROR_INVALID_NAME;
        case ENOTEMPTY:
            return ERROR_DIR_NOT_EMPTY;
        case ENAMETOOLONG:
            return ERROR_FILENAME_EXCED_RANGE;
        case EFBIG:
        case EOVERFLOW:
            return ERROR_FILE_TOO_LARGE;
        case EIO:
        case EREMOTEIO:
            return ERROR_IO_DEVICE;
        default:
            return ERROR_GEN_FAILURE;
    }
}

void setLastErrorFromErrno() noexcept {
    SetLastError(errorFromErrno(errno));
}

}  // namespace zlk::platform
