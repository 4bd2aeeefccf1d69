#include "platform/files.h"

#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

#include "platform/base/FileName.h"
#include "platform/base/MachineRoot.h"
#include "platform/base/PosixError.h"
#include "platform/base/WithoutExceptions.h"
#include "platform/files/FileAttributes.h"
#include "platform/files/FileHandle.h"
#include "platform/files/FileMoving.h"
#include "platform/files/FileOpening.h"
#include "platform/files/FolderWalk.h"
#include "platform/files/PathTarget.h"
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

/// Opens what a path leads to, and asks for its status. Anything but a file or folder is refused.
/// Empty with the last error.
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

bool moveFile(const WCHAR* from, const WCHAR* to) {
    const auto sourceTarget = PathTarget::find(from);
    const auto source = sourceTarget ? sourceTarget->entry() : std::nullopt;
    if (!source) return false;
    const auto goalTarget = PathTarget::find(to);
    const auto goal = goalTarget ? goalTarget->entry() : std::nullopt;
    if (!goal) return false;
    if (renameOntoNothing(*source, *goal)) return true;
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

// Copies a text with its terminator and returns its length. With too little room it copies nothing,
// and returns the room that the text needs.
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
        // The bits for a folder and for a file, with the values that callers know.
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
