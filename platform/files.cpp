#include "platform/files.h"

#include <fcntl.h>
#include <limits.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

#include "platform/base/FileName.h"
#include "platform/base/MachineRoot.h"
#include "platform/base/PosixError.h"
#include "platform/base/WithoutExceptions.h"
#include "platform/files/DeviceOpening.h"
#include "platform/files/FileAttributes.h"
#include "platform/files/FileHandle.h"
#include "platform/files/FolderWalk.h"
#include "platform/files/PathTarget.h"
#include "platform/files/SinkHandle.h"
#include "platform/files/VolumeHandle.h"
#include "platform/text.h"

using namespace zlk::platform;
using zlk::Descriptor;

namespace {

bool refuse(DWORD error) {
    SetLastError(error);
    return false;
}

bool refuseFromErrno() {
    setLastErrorFromErrno();
    return false;
}

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
    // FileHandle's shared locks need a descriptor that can read, so a writer opens for both where
    // it may.
    OpenedFile opened{target.open(O_RDWR | always)};
    if (!opened.file && GetLastError() == ERROR_ACCESS_DENIED && access == GENERIC_WRITE)
        opened.file = target.open(O_WRONLY | always);
    return opened;
}

/// Makes a file. Fails with ERROR_FILE_EXISTS if the entry exists.
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
    // Another process may make or delete the file between the two steps, but hardly four times.
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

/// Whether callers may have a handle of this kind of file: regular files, and devices such as
/// /dev/null, but no devices on a card, where somebody may have put them to do harm.
bool mayBeOpened(const struct stat& status, bool fenced) {
    return S_ISREG(status.st_mode) || (S_ISCHR(status.st_mode) && !fenced);
}

// A handle as CreateFileW returns it.
HANDLE handleOf(std::shared_ptr<Handle> object) {
    const HANDLE handle = object ? addHandle(std::move(object)) : nullptr;
    return handle ? handle : INVALID_HANDLE_VALUE;
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
        // Only a path that is no folder is tried as a file; the reason for any other failure would
        // be lost by that.
        const bool mayBeFile = errno == ENOTDIR || errno == ENOENT;
        if (!mayBeFile) return INVALID_HANDLE_VALUE;
    }
    return openFile(*target, access, share, disposition);
}

/// Opens what a path leads to, links followed, only to ask about it. Anything but a file or folder
/// is refused. Empty with the last error.
Descriptor openToAsk(PathTarget& target, struct statx& status) {
    Descriptor opened = target.open(O_PATH);
    if (!opened) return {};
    if (!statEntry(opened.get(), "", status)) {
        setLastErrorFromErrno();
        return {};
    }
    if (!isFile(status) && !isFolder(status)) {
        SetLastError(ERROR_ACCESS_DENIED);
        return {};
    }
    return opened;
}

DWORD attributesOfPath(const WCHAR* path) {
    auto target = PathTarget::find(path);
    struct statx status;
    const Descriptor asked = target ? openToAsk(*target, status) : Descriptor();
    if (!asked) return INVALID_FILE_ATTRIBUTES;
    std::optional<DWORD> fat;
    if (keepsFatAttributes(asked.get()))
        if (const Descriptor file = target->open(O_RDONLY | O_NONBLOCK))
            fat = fatAttributes(file.get());
    // The name as it is spelled on disk, whose leading dot may mean "hidden".
    const std::string& way = target->way();
    return attributesOf(status, way.c_str() + way.rfind('/') + 1, fat);
}

bool deleteFile(const WCHAR* path) {
    const auto target = PathTarget::find(path);
    const auto entry = target ? target->entry() : std::nullopt;
    if (!entry) return false;
    struct stat status;
    if (::fstatat(entry->folder.get(), entry->name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return refuseFromErrno();
    const bool deletable =
        (S_ISREG(status.st_mode) && !isReadOnlyMode(status.st_mode)) || S_ISLNK(status.st_mode);
    if (!deletable) return refuse(ERROR_ACCESS_DENIED);
    return ::unlinkat(entry->folder.get(), entry->name.c_str(), 0) == 0 || refuseFromErrno();
}

/// Renames a folder on a file system that can't promise to leave an existing target alone. An empty
/// folder is made as the target first; that fails if the name is taken, and the rename then
/// replaces only what was made here. False with errno.
bool renameFolderOntoOwn(const PathTarget::Entry& from, const PathTarget::Entry& to) {
    if (::mkdirat(to.folder.get(), to.name.c_str(), S_IRWXU) != 0) return false;
    if (::renameat(from.folder.get(), from.name.c_str(), to.folder.get(), to.name.c_str()) == 0)
        return true;
    const int error = errno;
    ::unlinkat(to.folder.get(), to.name.c_str(), AT_REMOVEDIR);
    errno = error;
    return false;
}

/// Renames a file by giving it a second name, which fails if that is taken, and then removing the
/// first one. A kill between the two steps leaves two names of the whole file.
bool renameByLink(const PathTarget::Entry& from, const PathTarget::Entry& to) {
    if (::linkat(from.folder.get(), from.name.c_str(), to.folder.get(), to.name.c_str(), 0) != 0)
        return false;
    // If somebody else has removed the first name meanwhile, the second one is the only one left.
    if (::unlinkat(from.folder.get(), from.name.c_str(), 0) == 0 || errno == ENOENT) return true;
    const int error = errno;
    ::unlinkat(to.folder.get(), to.name.c_str(), 0);
    errno = error;
    return false;
}

/// Renames a file on a file system without hard links, such as FAT. Making an empty target first,
/// as for folders, could leave an empty file under a picture's name after a kill. So this only
/// looks whether the name is free, and a lock on the folder makes other movers of ours wait between
/// the look and the rename.
bool renameIfFree(const PathTarget::Entry& from, const PathTarget::Entry& to) {
    const Descriptor turn(::openat(to.folder.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (turn) ::flock(turn.get(), LOCK_EX);
    struct stat status;
    if (::fstatat(to.folder.get(), to.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0)
        errno = EEXIST;
    if (errno != ENOENT) return false;
    return ::renameat(from.folder.get(), from.name.c_str(), to.folder.get(), to.name.c_str()) == 0;
}

// Renames on a file system without RENAME_NOREPLACE. False with errno, which is EEXIST for a target
// that exists.
bool renameWithoutPromise(const PathTarget::Entry& from, const PathTarget::Entry& to) {
    struct stat status;
    if (::fstatat(from.folder.get(), from.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return false;
    if (S_ISDIR(status.st_mode)) return renameFolderOntoOwn(from, to);
    if (renameByLink(from, to)) return true;
    const bool hasNoLinks = errno == EPERM || errno == EOPNOTSUPP || errno == ENOSYS ||
                            errno == EINVAL || errno == EMLINK;
    return hasNoLinks && renameIfFree(from, to);
}

bool moveFile(const WCHAR* from, const WCHAR* to) {
    const auto sourceTarget = PathTarget::find(from);
    const auto source = sourceTarget ? sourceTarget->entry() : std::nullopt;
    if (!source) return false;
    const auto goalTarget = PathTarget::find(to);
    const auto goal = goalTarget ? goalTarget->entry() : std::nullopt;
    if (!goal) return false;
    if (::renameat2(source->folder.get(), source->name.c_str(), goal->folder.get(),
                    goal->name.c_str(), RENAME_NOREPLACE) == 0)
        return true;
    if ((errno == EINVAL || errno == ENOSYS) && renameWithoutPromise(*source, *goal)) return true;
    return errno == EEXIST ? refuse(ERROR_ALREADY_EXISTS) : refuseFromErrno();
}

std::u16string pathWithoutLinks(const WCHAR* path) {
    auto target = PathTarget::find(path);
    struct statx status;
    const Descriptor asked = target ? openToAsk(*target, status) : Descriptor();
    if (!asked) return {};
    const std::string entry = "/proc/self/fd/" + std::to_string(asked.get());
    std::array<char, PATH_MAX> way;
    const ssize_t length = ::readlink(entry.c_str(), way.data(), way.size());
    if (length > 0) return nameText(std::string(way.data(), static_cast<std::size_t>(length)));
    setLastErrorFromErrno();
    return {};
}

bool makeFolder(const WCHAR* path) {
    const auto target = PathTarget::find(path);
    if (!target) return false;
    if (target->isRoot()) return refuse(ERROR_ALREADY_EXISTS);
    const auto entry = target->entry();
    if (!entry) return false;
    constexpr mode_t everybody = 0777;  // less the process's umask
    if (!entry->exists && ::mkdirat(entry->folder.get(), entry->name.c_str(), everybody) == 0)
        return true;
    return entry->exists || errno == EEXIST ? refuse(ERROR_ALREADY_EXISTS) : refuseFromErrno();
}

// Copies a text with its terminator, or returns the room that it needs.
DWORD giveText(const std::u16string& text, DWORD room, WCHAR* buffer) {
    const auto length = static_cast<DWORD>(text.size());
    if (!buffer || room <= length) return length + 1;
    std::memcpy(buffer, text.c_str(), (length + 1) * sizeof(WCHAR));
    return length;
}

DWORD currentFolder(DWORD room, WCHAR* buffer) {
    const std::unique_ptr<char, void (*)(void*)> folder(::getcwd(nullptr, 0), ::free);
    if (!folder) return refuseFromErrno();
    return giveText(nameText(folder.get()), room, buffer);
}

DWORD temporaryFolder(DWORD room, WCHAR* buffer) {
    const std::string folder = MachineRoot::instance().folder("tmp");
    if (folder.empty()) return 0;
    std::u16string text = u"Z:" + nameText(folder) + u'\\';
    std::replace(text.begin(), text.end(), u'/', u'\\');
    return giveText(text, room, buffer);
}

}  // namespace

PathParts splitPath(std::u16string_view path) noexcept {
    PathParts parts;
    const bool hasDrive = path.size() >= 2 && path[1] == u':';
    parts.drive = path.substr(0, hasDrive ? 2 : 0);
    path.remove_prefix(parts.drive.size());
    const std::size_t slash = path.find_last_of(u"\\/");
    parts.directory = path.substr(0, slash == path.npos ? 0 : slash + 1);
    path.remove_prefix(parts.directory.size());
    parts.name = path.substr(0, path.rfind(u'.'));
    parts.extension = path.substr(parts.name.size());
    return parts;
}

HANDLE CreateFileW(const WCHAR* path, DWORD access, DWORD share, const SECURITY_ATTRIBUTES*,
                   DWORD disposition, DWORD flagsAndAttributes, HANDLE) noexcept {
    return withoutExceptions(INVALID_HANDLE_VALUE, [&] {
        return openPath(path, access, share, disposition, flagsAndAttributes);
    });
}

HANDLE CreateFileA(const char* path, DWORD access, DWORD share, const SECURITY_ATTRIBUTES*,
                   DWORD disposition, DWORD flagsAndAttributes, HANDLE) noexcept {
    return withoutExceptions(INVALID_HANDLE_VALUE, [&] {
        return openPath(wideText(path ? path : "").c_str(), access, share, disposition,
                        flagsAndAttributes);
    });
}

BOOL ReadFile(HANDLE file, void* buffer, DWORD size, DWORD* read, void*) noexcept {
    DWORD done = 0;
    const auto handle = findHandle(file);
    // `done` is reported after a failure as well, and is 0 for a bad handle.
    const bool success =
        handle && withoutExceptions(false, [&] { return handle->read(buffer, size, done); });
    if (read) *read = done;
    return success;
}

BOOL WriteFile(HANDLE file, const void* buffer, DWORD size, DWORD* written, void*) noexcept {
    DWORD done = 0;
    const auto handle = findHandle(file);
    const bool success =
        handle && withoutExceptions(false, [&] { return handle->write(buffer, size, done); });
    if (written) *written = done;
    return success;
}

BOOL GetFileSizeEx(HANDLE file, LARGE_INTEGER* size) noexcept {
    const auto handle = findHandle(file);
    return handle && (size ? handle->size(size->QuadPart) : refuse(ERROR_INVALID_PARAMETER));
}

BOOL SetFileTime(HANDLE file, const FILETIME*, const FILETIME*,
                 const FILETIME* lastWrite) noexcept {
    const auto handle = findHandleOf<FileHandle>(file);
    return handle && (!lastWrite || handle->setLastWrite(*lastWrite));
}

BOOL FlushFileBuffers(HANDLE file) noexcept {
    const auto handle = findHandle(file);
    return handle && withoutExceptions(false, [&] { return handle->flush(); });
}

BOOL DeleteFileW(const WCHAR* path) noexcept {
    return withoutExceptions(false, [&] { return deleteFile(path); });
}

BOOL MoveFileW(const WCHAR* from, const WCHAR* to) noexcept {
    return withoutExceptions(false, [&] { return moveFile(from, to); });
}

DWORD GetFileAttributesW(const WCHAR* path) noexcept {
    return withoutExceptions(INVALID_FILE_ATTRIBUTES, [&] { return attributesOfPath(path); });
}

bool _wstat64i32(const WCHAR* path, FileStatus& result) noexcept {
    return withoutExceptions(false, [&] {
        auto target = PathTarget::find(path);
        struct statx status;
        if (!target || !openToAsk(*target, status)) return false;
        // The bits of the kind, as callers' C library has them.
        const std::uint16_t mode = isFolder(status) ? 0x4000 : 0x8000;
        const auto device = std::uint64_t{status.stx_dev_major} << 32 | status.stx_dev_minor;
        result = {mode, static_cast<std::int32_t>(status.stx_size), status.stx_mtime.tv_sec, device,
                  status.stx_ino};
        return true;
    });
}

std::u16string finalPath(const WCHAR* path) noexcept {
    return withoutExceptions(std::u16string(), [&] { return pathWithoutLinks(path); });
}

int descriptorOfOpenFile(HANDLE file) noexcept {
    const auto handle = findHandle(file);
    const int descriptor = handle ? handle->descriptor() : -1;
    if (handle && descriptor < 0) SetLastError(ERROR_INVALID_HANDLE);
    return descriptor;
}

BOOL CreateDirectoryW(const WCHAR* path, const SECURITY_ATTRIBUTES*) noexcept {
    return withoutExceptions(false, [&] { return makeFolder(path); });
}

DWORD GetCurrentDirectoryW(DWORD room, WCHAR* buffer) noexcept {
    return withoutExceptions(DWORD{0}, [&] { return currentFolder(room, buffer); });
}

BOOL SetCurrentDirectoryW(const WCHAR* path) noexcept {
    return withoutExceptions(false, [&] {
        auto target = PathTarget::find(path);
        const Descriptor folder = target ? target->open(O_PATH | O_DIRECTORY) : Descriptor();
        return folder && (::fchdir(folder.get()) == 0 || refuseFromErrno());
    });
}

DWORD GetTempPathW(DWORD room, WCHAR* buffer) noexcept {
    return withoutExceptions(DWORD{0}, [&] { return temporaryFolder(room, buffer); });
}

HANDLE FindFirstFileW(const WCHAR* pattern, WIN32_FIND_DATAW* entry) noexcept {
    return withoutExceptions(INVALID_HANDLE_VALUE, [&] {
        const auto walk = FolderWalk::start(pattern);
        return walk && walk->next(*entry) ? handleOf(walk) : INVALID_HANDLE_VALUE;
    });
}

BOOL FindNextFileW(HANDLE find, WIN32_FIND_DATAW* entry) noexcept {
    const auto walk = findHandleOf<FolderWalk>(find);
    return walk && withoutExceptions(false, [&] { return walk->next(*entry); });
}

BOOL FindClose(HANDLE find) noexcept {
    // A handle of another kind stays open.
    return findHandleOf<FolderWalk>(find) && closeHandle(find);
}

int _flushall() noexcept {
    return 0;
}
