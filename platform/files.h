#pragma once
// Files and folders, by the path texts that applications use. Every call may come from any thread,
// but one walk (FindFirstFileW) is for one thread at a time. A handle is closed with CloseHandle,
// the handle of a walk with FindClose.
//
// A path is one of: `X:\...`, below that drive's mount point (a drive letter, see volumes.h);
// `Z:\...`, below this machine's own root; `\\server\share\...`, below the mount of that share;
// `/...` or `\...`, a path of this machine as it stands; anything else, from the process's current
// folder. CreateFileW and CreateFileA alone also take `\\.\X:`, the volume itself, and `\\.\...` or
// `\\?\...`, a camera or a file sink. Components are separated by `\` and `/`. Below a drive or a
// share a name is looked up with its exact spelling first and then without case, and `..` stops at
// the root of the drive or share. In a path of this machine or from the current folder, case
// counts, and `..` is left to the kernel.
//
// Below a drive or a share, but not below `Z:`, a link is followed only if its target is relative
// and lies below the same root; opening any other link, or a device, gives ERROR_ACCESS_DENIED. On
// a kernel without openat2 no link is followed there, and opening one gives ERROR_PATH_NOT_FOUND or
// ERROR_ACCESS_DENIED. DeleteFileW and MoveFileW act on a link itself.
//
// A file's name may contain what isn't shown as it is: bytes that aren't UTF-8, ASCII's control
// characters, the backslash, U+FFFE and U+FFFF. Each of their bytes shows as the unit U+F000 + byte
// from the private area, and a path with that unit leads back to the byte. If a file's name really
// contains the unit, that file is found first. Of files whose names read the same, a walk lists
// one.
//
// Last errors that several calls have, among others: ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND (a
// folder above is missing), ERROR_ACCESS_DENIED (no right, or the path leads to what the call
// doesn't take), ERROR_SHARING_VIOLATION, ERROR_INVALID_NAME, ERROR_FILENAME_EXCED_RANGE,
// ERROR_WRITE_PROTECT (a read-only file system), ERROR_DISK_FULL, ERROR_NOT_READY (a drive without
// a medium, or one whose folder has vanished), ERROR_IO_DEVICE, ERROR_TOO_MANY_OPEN_FILES,
// ERROR_NOT_ENOUGH_MEMORY, ERROR_FILE_EXISTS, ERROR_FILE_TOO_LARGE, ERROR_INVALID_HANDLE,
// ERROR_INVALID_PARAMETER, ERROR_NOT_SUPPORTED, ERROR_GEN_FAILURE.

#include <memory>
#include <string>
#include <string_view>

#include "platform/error.h"
#include "platform/types.h"

inline constexpr DWORD GENERIC_READ = 0x80000000;
inline constexpr DWORD GENERIC_WRITE = 0x40000000;
inline constexpr DWORD FILE_APPEND_DATA = 4;  ///< each write goes to the end of the file
inline constexpr DWORD FILE_SHARE_READ = 1;
inline constexpr DWORD FILE_SHARE_WRITE = 2;
inline constexpr DWORD CREATE_NEW = 1;
inline constexpr DWORD CREATE_ALWAYS = 2;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x01;
inline constexpr DWORD FILE_ATTRIBUTE_HIDDEN = 0x02;
inline constexpr DWORD FILE_ATTRIBUTE_SYSTEM = 0x04;
inline constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr DWORD FILE_FLAG_BACKUP_SEMANTICS = 0x02000000;  ///< allows a folder to be opened
inline constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;

/// What a folder walk reports of one entry. The size is 0 for a folder.
struct WIN32_FIND_DATAW {
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;  ///< of the last write if the file system keeps no such time
    FILETIME ftLastAccessTime;
    FILETIME ftLastWriteTime;
    DWORD nFileSizeHigh;
    DWORD nFileSizeLow;
    DWORD dwReserved0;
    DWORD dwReserved1;
    WCHAR cFileName[MAX_PATH];  ///< 255 units at most
    WCHAR cAlternateFileName[14];
};
static_assert(sizeof(WIN32_FIND_DATAW) == 592);

// The C library defines st_mtime as a macro, which would change the name of the member of
// FileStatus.
#pragma push_macro("st_mtime")
#undef st_mtime
/// What _wstat64i32 reports of a path: the fields that callers of the platform use.
struct FileStatus {
    std::uint16_t st_mode;  ///< 0x4000 for a folder, 0x8000 for a file
    std::int32_t st_size;   ///< the low 32 bits
    std::int64_t st_mtime;  ///< seconds since 1970 UTC
    std::uint64_t st_dev;   ///< the file system
    std::uint64_t st_ino;   ///< the file's number there; may change while nobody has the file open
};
#pragma pop_macro("st_mtime")

/// The parts of a path, as _wsplitpath gives them. Joined in this order they are the path again.
struct PathParts {
    std::u16string_view drive;      ///< `E:` or empty
    std::u16string_view directory;  ///< up to and with the last slash
    std::u16string_view name;
    std::u16string_view extension;  ///< with its dot
};

#pragma GCC visibility push(default)

/// Splits a path text without looking at the disk. The parts are views into `path`.
PathParts splitPath(std::u16string_view path) noexcept;

/// Opens or makes a file. It also opens a volume (`\\.\X:`), a camera by its device name, a file
/// sink (file_sinks.h) and, with FILE_FLAG_BACKUP_SEMANTICS, a folder; for these `share` and
/// `disposition` are ignored. The caller owns the handle; INVALID_HANDLE_VALUE on failure.
///
/// `access` is made of GENERIC_READ and GENERIC_WRITE, or is FILE_APPEND_DATA, or 0 (a handle that
/// only asks for the file's size or status, and takes part in no sharing). `share` is what others
/// may do meanwhile. If another opener, in any process that uses the platform, doesn't share the
/// access that this one asks for, or has an access that this one doesn't share, the result is
/// ERROR_SHARING_VIOLATION and the file stays as it is. Sharing isn't enforced where a file can't
/// be locked, as on a file system without locks.
///
/// `disposition` is CREATE_NEW, CREATE_ALWAYS (empties an existing file and keeps its mode; the
/// last error is then ERROR_ALREADY_EXISTS on success) or OPEN_EXISTING. A new file gets its mode
/// from the process's umask. An existing read-only file isn't opened for writing:
/// ERROR_ACCESS_DENIED. `security` and `templateFile` are ignored, and so are all attributes and
/// flags but FILE_FLAG_BACKUP_SEMANTICS.
HANDLE CreateFileW(const WCHAR* path, DWORD access, DWORD share,
                   const SECURITY_ATTRIBUTES* security, DWORD disposition, DWORD flagsAndAttributes,
                   HANDLE templateFile) noexcept;

/// CreateFileW with a path in UTF-8.
HANDLE CreateFileA(const char* path, DWORD access, DWORD share, const SECURITY_ATTRIBUTES* security,
                   DWORD disposition, DWORD flagsAndAttributes, HANDLE templateFile) noexcept;

/// Reads up to `size` bytes at the file's position. A success with fewer bytes means that the file
/// ends there; what a camera gives is documented by its driver. `overlapped` is ignored. *read
/// receives the number of bytes that arrived, on failure too.
BOOL ReadFile(HANDLE file, void* buffer, DWORD size, DWORD* read, void* overlapped) noexcept;

/// Writes all `size` bytes or fails. *written receives the number of bytes that were written, on
/// failure too.
BOOL WriteFile(HANDLE file, const void* buffer, DWORD size, DWORD* written,
               void* overlapped) noexcept;

/// The size in bytes of an open file; for a file sink, the bytes written to this handle.
BOOL GetFileSizeEx(HANDLE file, LARGE_INTEGER* size) noexcept;

/// Sets the time of an open file's last write; null leaves it as it is. The other two times are
/// ignored. ERROR_ACCESS_DENIED for a handle that may not write, ERROR_INVALID_HANDLE for one that
/// isn't a file's.
BOOL SetFileTime(HANDLE file, const FILETIME* creation, const FILETIME* lastAccess,
                 const FILETIME* lastWrite) noexcept;

/// Waits until the file, or everything on the file system of a volume or folder, is on the medium.
/// ERROR_ACCESS_DENIED for a file that isn't open for writing. A file sink has nothing to wait for.
BOOL FlushFileBuffers(HANDLE file) noexcept;

/// Deletes a file, or a link itself. ERROR_ACCESS_DENIED for anything else, such as a folder, and
/// for a read-only file, such as a picture that was protected in the camera.
BOOL DeleteFileW(const WCHAR* path) noexcept;

/// Renames a file or folder within one file system; a target on another one is ERROR_NOT_SUPPORTED.
/// An existing target is left alone: ERROR_ALREADY_EXISTS.
BOOL MoveFileW(const WCHAR* from, const WCHAR* to) noexcept;

/// The attributes of a file or folder; INVALID_FILE_ATTRIBUTES on failure. Whether it is hidden is
/// told by its FAT attributes if they can be read, and otherwise by a leading dot. A file is
/// read-only if its owner may not write it.
DWORD GetFileAttributesW(const WCHAR* path) noexcept;

/// Reports kind, size, time and identity of what a path leads to, links followed. False on failure,
/// with the last error.
bool _wstat64i32(const WCHAR* path, FileStatus& status) noexcept;

/// The file or folder that a path leads to, as a path of this machine (`/...`) without links; empty
/// on failure.
std::u16string finalPath(const WCHAR* path) noexcept;

/// The descriptor of an open file or folder, for uses that no call here covers. The handle still
/// owns it: it must not be closed, and is valid until the handle is closed. -1 with the last error.
int descriptorOfOpenFile(HANDLE file) noexcept;

/// Makes a folder, whose parent must exist, with a mode from the process's umask.
/// ERROR_ALREADY_EXISTS also for a file of that name. `security` is ignored.
BOOL CreateDirectoryW(const WCHAR* path, const SECURITY_ATTRIBUTES* security) noexcept;

/// The process's current folder, as a path that the other calls take. The result is as on Windows:
/// the units written without the terminator; with too little room, the units needed including the
/// terminator; 0 on failure.
DWORD GetCurrentDirectoryW(DWORD room, WCHAR* buffer) noexcept;
/// Changes the current folder of the whole process.
BOOL SetCurrentDirectoryW(const WCHAR* path) noexcept;

/// The path of the folder `tmp` below the machine root (`Z:\...\tmp\`); the folder is made if it is
/// missing. The path ends with a backslash, so that a name can be appended. Result as for
/// GetCurrentDirectoryW.
DWORD GetTempPathW(DWORD room, WCHAR* buffer) noexcept;

/// Starts a walk of a folder and gives its first entry; `pattern` is the folder and `*` or `*.*`,
/// both of which mean every entry (any other pattern is ERROR_INVALID_NAME). INVALID_HANDLE_VALUE
/// on failure; the caller ends the walk with FindClose.
///
/// Entries come in the order of their names, case ignored, `.` and `..` first. Only files, folders,
/// and links that may be followed to a file are listed. Links to folders are left out, so that a
/// walk of all folders ends, and so are names of more than 255 units. A walk holds the names of its
/// folder in memory; if there are 4,000,000 or more, it reads that many and ends with
/// ERROR_NOT_ENOUGH_MEMORY.
HANDLE FindFirstFileW(const WCHAR* pattern, WIN32_FIND_DATAW* entry) noexcept;

/// Gives the next entry; 0 with ERROR_NO_MORE_FILES at the end. An entry that has vanished since
/// the walk began is left out. If the folder or an entry can't be read, the walk lists what it can,
/// and ends with the first error that it met.
BOOL FindNextFileW(HANDLE find, WIN32_FIND_DATAW* entry) noexcept;
/// Ends a walk; ERROR_INVALID_HANDLE for any other handle.
BOOL FindClose(HANDLE find) noexcept;

/// Does nothing: writes here go to the kernel at once. Returns 0, the number of C streams flushed.
int _flushall() noexcept;

#pragma GCC visibility pop

namespace zlk {

struct EndWalk {
    void operator()(void* walk) const noexcept { FindClose(walk); }
};
using UniqueWalk = std::unique_ptr<void, EndWalk>;

/// FindFirstFileW with an owner for the walk, which is empty on failure.
inline UniqueWalk startWalk(const std::u16string& pattern, WIN32_FIND_DATAW& entry) noexcept {
    const HANDLE walk = FindFirstFileW(pattern.c_str(), &entry);
    return UniqueWalk(walk == INVALID_HANDLE_VALUE ? nullptr : walk);
}

}  // namespace zlk
