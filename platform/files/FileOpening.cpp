#include "platform/files/FileOpening.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <memory>

#include "platform/base/PosixError.h"
#include "platform/files.h"
#include "platform/files/DeviceOpening.h"
#include "platform/files/FileAttributes.h"
#include "platform/files/FileHandle.h"
#include "platform/files/PathTarget.h"
#include "platform/files/SinkHandle.h"
#include "platform/files/VolumeHandle.h"

namespace zlk::platform {
namespace {

// A file that was opened or made; empty with the last error.
struct OpenedFile {
    Descriptor file;
    bool existed = true;
};

/// Opens a file that exists. O_NONBLOCK and O_NOCTTY keep the call from waiting for the other end
/// of a pipe or for a lease, and from adopting a terminal.
OpenedFile openExisting(PathTarget& target, DWORD access) {
    constexpr int always = O_NONBLOCK | O_NOCTTY;
    if (access == 0) return {target.open(O_PATH)};
    if (!(access & GENERIC_WRITE)) return {target.open(O_RDONLY | always)};
    // FileHandle's shared locks need a descriptor that can read, so a writer opens the file for
    // reading too, if it may read it.
    OpenedFile opened{target.open(O_RDWR | always)};
    if (!opened.file && GetLastError() == ERROR_ACCESS_DENIED && access == GENERIC_WRITE)
        opened.file = target.open(O_WRONLY | always);
    return opened;
}

OpenedFile makeFile(const PathTarget::Entry& entry) {
    if (entry.exists) {
        SetLastError(ERROR_FILE_EXISTS);
        return {};
    }
    constexpr int flags = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC;
    constexpr mode_t everybody = 0666;  // less the process's umask
    OpenedFile made{Descriptor(::openat(entry.folder.get(), entry.name.c_str(), flags, everybody)),
                    false};
    if (!made.file) setLastErrorFromErrno();
    return made;
}

OpenedFile openOrMake(PathTarget& target, DWORD access) {
    // Between looking for the file and opening or making it, another process may make or delete the
    // file, but hardly four times.
    OpenedFile opened;
    for (int rounds = 0; rounds < 4 && !opened.file; ++rounds) {
        const auto entry = target.entry();
        if (!entry) break;
        opened = entry->exists ? openExisting(target, access) : makeFile(*entry);
        const DWORD expected = entry->exists ? ERROR_FILE_NOT_FOUND : ERROR_FILE_EXISTS;
        if (!opened.file && GetLastError() != expected) break;
    }
    return opened;
}

OpenedFile openWith(DWORD disposition, PathTarget& target, DWORD access) {
    switch (disposition) {
        case OPEN_EXISTING:
            return openExisting(target, access);
        case CREATE_ALWAYS:
            return openOrMake(target, access);
        case CREATE_NEW: {
            const auto entry = target.entry();
            return entry ? makeFile(*entry) : OpenedFile();
        }
        default:
            SetLastError(ERROR_INVALID_PARAMETER);
            return {};
    }
}

/// Whether callers may have a handle of this kind of file: regular files, and character devices
/// such as /dev/null, but no devices on a card or share, where somebody may have put them to do
/// harm.
bool mayBeOpened(const struct stat& status, bool fenced) {
    return S_ISREG(status.st_mode) || (S_ISCHR(status.st_mode) && !fenced);
}

HANDLE openFile(PathTarget& target, DWORD access, DWORD share, DWORD disposition) {
    const bool appends = access & FILE_APPEND_DATA;
    if (appends) access |= GENERIC_WRITE;
    OpenedFile opened = openWith(disposition, target, access);
    if (!opened.file) return INVALID_HANDLE_VALUE;
    // What was opened is checked through its descriptor, since the path may lead elsewhere by now.
    struct stat status;
    const int fd = opened.file.get();
    if (::fstat(fd, &status) != 0) {
        setLastErrorFromErrno();
        return INVALID_HANDLE_VALUE;
    }
    const bool writes = access & GENERIC_WRITE;
    if (!mayBeOpened(status, target.isFenced()) ||
        (opened.existed && writes && isReadOnlyMode(status.st_mode))) {
        SetLastError(ERROR_ACCESS_DENIED);
        return INVALID_HANDLE_VALUE;
    }
    // With O_APPEND each write finds the file's end and writes there in one step.
    if (appends && ::fcntl(fd, F_SETFL, O_APPEND) != 0) {
        setLastErrorFromErrno();
        return INVALID_HANDLE_VALUE;
    }
    auto file = std::make_shared<FileHandle>(std::move(opened.file), access);
    if (!file->claim(share)) return INVALID_HANDLE_VALUE;
    // The file is emptied only after the sharing modes allow it: somebody who shares nothing must
    // not find his file emptied.
    const bool emptied = disposition == CREATE_ALWAYS && opened.existed;
    if (emptied && S_ISREG(status.st_mode) && ::ftruncate(fd, 0) != 0) {
        setLastErrorFromErrno();
        return INVALID_HANDLE_VALUE;
    }
    const HANDLE handle = handleOf(std::move(file));
    if (disposition == CREATE_ALWAYS && handle != INVALID_HANDLE_VALUE)
        SetLastError(emptied ? ERROR_ALREADY_EXISTS : ERROR_SUCCESS);
    return handle;
}

}  // namespace

HANDLE handleOf(std::shared_ptr<Handle> object) {
    const HANDLE handle = object ? addHandle(std::move(object)) : nullptr;
    return handle ? handle : INVALID_HANDLE_VALUE;
}

HANDLE openPath(const WCHAR* path, DWORD access, DWORD share, DWORD disposition, DWORD flags) {
    const DeviceName name = parseDeviceName(path ? path : u"");
    // Sinks come before devices, since their names begin with `\\.\` too.
    if (SinkHandle::isNamed(path ? path : u"")) return handleOf(SinkHandle::open(path, access));
    if (name.form == DeviceName::Form::Volume) return handleOf(VolumeHandle::open(name.letter));
    if (name.form == DeviceName::Form::Device) return handleOf(openDevice(path + 4));
    auto target = PathTarget::find(path);
    if (!target) return INVALID_HANDLE_VALUE;
    if (flags & FILE_FLAG_BACKUP_SEMANTICS) {
        if (Descriptor folder = target->open(O_RDONLY | O_DIRECTORY))
            return handleOf(std::make_shared<VolumeHandle>(std::move(folder)));
        // A path that leads to no folder is tried as a file. After any other failure, trying would
        // replace the last error, which tells the caller the reason.
        const bool mayBeFile = errno == ENOTDIR || errno == ENOENT;
        if (!mayBeFile) return INVALID_HANDLE_VALUE;
    }
    return openFile(*target, access, share, disposition);
}

}  // namespace zlk::platform
