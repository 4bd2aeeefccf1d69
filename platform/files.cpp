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

struct OpenedFile {
    Descriptor file;
    bool existed = true;
};

/// Never waits: for the other end of a pipe, a lease, a terminal.
OpenedFile openExisting(PathTarget& target, DWORD access) {
    constexpr int always = O_NONBLOCK | O_NOCTTY;
    if (access == 0) return {target.open(O_PATH)};
    if (!(access & GENERIC_WRITE)) return {target.open(O_RDONLY | always)};
    // A shared lock needs the right to read, so that a writer takes it along where it can.
    OpenedFile opened{target.open(O_RDWR | always)};
    if (!opened.file && GetLastError() == ERROR_ACCESS_DENIED && access == GENERIC_WRITE)
        opened.file = target.open(O_WRONLY | always);
    return opened;
}

/// Fails with ERROR_FILE_EXISTS where the entry exists.
OpenedFile makeFile(const PathTarget::Entry& entry) {
    if (entry.exists) {
        SetLastError(ERROR_FILE_EXISTS);
        return {};
    }
    constexpr int flags = O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC;
    constexpr mode_t everybody = 0666;  // but for the process's mask
    OpenedFile made{Descriptor(::openat(entry.folder.get(), entry.name.c_str(), flags, everybody)),
                    false};
    if (!made.file) setLastErrorFromErrno();
    return made;
}

OpenedFile openOrMake(PathTarget& target, DWORD access) {
    // Somebody may make or delete it between the two steps, though not for ever.
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

/// Whether callers may have this under a handle: files; and devices such as /dev/null, but not
/// those that somebody has put on a card.
bool mayBeOpened(const struct stat& status, bool fenced) {
    return S_ISREG(status.st_mode) || (S_ISCHR(status.st_mode) && !fenced);
}

HANDLE handleOf(std::shared_ptr<Handle> object) {
    const HANDLE handle = object ? addHandle(std::move(object)) : nullptr;
    return handle ? handle : INVALID_HANDLE_VALUE;
}

HANDLE openFile(PathTarget& target, DWORD access, DWORD share, DWORD disposition) {
    const bool appends = access & FILE_APPEND_DATA;
    if (appends) access |= GENERIC_WRITE;
    OpenedFile opened = openWith(disposition, target, access);
    if (!opened.file) return INVALID_HANDLE_VALUE;
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
    // Each write then finds the end and writes there in one step.
    if (appends && ::fcntl(fd, F_SETFL, O_APPEND) != 0) {
        setLastErrorFromErrno();
        return INVALID_HANDLE_VALUE;
    }
    auto file = std::make_shared<FileHandle>(std::move(opened.file), access);
    if (!file->claim(share)) return INVALID_HANDLE_VALUE;
    // Only now: whoever shares nothing must not find his file emptied.
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
    if (SinkHandle::isNamed(path ? path : u"")) return handleOf(SinkHandle::open(path, access));
    if (name.form == DeviceName::Form::Volume) return handleOf(VolumeHandle::open(name.letter));
    if (name.form == DeviceName::Form::Device) return handleOf(openDevice(path + 4));
    auto target = PathTarget::find(path);
    if (!target) return INVALID_HANDLE_VALUE;
    if (flags & FILE_FLAG_BACKUP_SEMANTICS) {
        if (Descriptor folder = target->open(O_RDONLY | O_DIRECTORY))
            return handleOf(std::make_shared<VolumeHandle>(std::move(folder)));
        // Another reason than that it is no folder would be lost by trying it as a file.
        const bool mayBeFile = errno == ENOTDIR || errno == ENOENT;
        if (!mayBeFile) return INVALID_HANDLE_VALUE;
    }
    return openFile(*target, access, share, disposition);
}

/// Opens what a path leads to, links followed, to ask about it; a folder or file only. Empty with
/// the last error.
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

/// A folder's new name, where the file system can't promise to leave an existing target alone: what
/// is replaced was made here for it.
bool renameFolderOntoOwn(const PathTarget::Entry& from, const PathTarget::Entry& to) {
    if (::mkdirat(to.folder.get(), to.name.c_str(), S_IRWXU) != 0) return false;
    if (::renameat(from.folder.get(), from.name.c_str(), to.folder.get(), to.name.c_str()) == 0)
        return true;
    const int error = errno;
    ::unlinkat(to.folder.get(), to.name.c_str(), AT_REMOVEDIR);
    errno = error;
    return false;
}

/// A file's, by a second name for it. Whoever is killed between the two steps leaves both, each of
/// the whole file.
bool renameByLink(const PathTarget::Entry& from, const PathTarget::Entry& to) {
    if (::linkat(from.folder.get(), from.name.c_str(), to.folder.get(), to.name.c_str(), 0) != 0)
        return false;
    // Whoever took the first name away has left the other as the last.
    if (::unlinkat(from.folder.get(), from.name.c_str(), 0) == 0 || errno == ENOENT) return true;
    const int error = errno;
    ::unlinkat(to.folder.get(), to.name.c_str(), 0);
    errno = error;
    return false;
}

/// A file's, where there are no links either. Something made to be replaced would be left by a kill
/// as an empty file, under a name that others take for a picture's. So it is looked whether the
/// name is free; movers of ours wait for each other meanwhile.
bool renameIfFree(const PathTarget::Entry& from, const PathTarget::Entry& to) {
    const Descriptor turn(::openat(to.folder.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (turn) ::flock(turn.get(), LOCK_EX);
    struct stat status;
    if (::fstatat(to.folder.get(), to.name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0)
        errno = EEXIST;
    if (errno != ENOENT) return false;
    return ::renameat(from.folder.get(), from.name.c_str(), to.folder.get(), to.name.c_str()) == 0;
}

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
    constexpr mode_t everybody = 0777;  // but for the process's mask
    if (!entry->exists && ::mkdirat(entry->folder.get(), entry->name.c_str(), everybody) == 0)
        return true;
    return entry->exists || errno == EEXIST ? refuse(ERROR_ALREADY_EXISTS) : refuseFromErrno();
}

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
    return findHandleOf<FolderWalk>(find) && closeHandle(find);
}

int _flushall() noexcept {
    return 0;
}
