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
        case ENOLCK:
        case ENOMEM:
            return ERROR_NOT_ENOUGH_MEMORY;
        case EROFS:
            return ERROR_WRITE_PROTECT;
        // Some of these come from a card that was pulled, others from a mount that has vanished.
        case ENODEV:
        case ENXIO:
        case ENOTCONN:
        case ESHUTDOWN:
        case ESTALE:
        case EHOSTDOWN:
        case EHOSTUNREACH:
        case ENOMEDIUM:
            return ERROR_NOT_READY;
        // The file is in use, for example leased (EAGAIN), mounted (EBUSY) or run (ETXTBSY).
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
