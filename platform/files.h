#pragma once
// Files and folders by the path texts of applications.
//
// A path is one of: `X:\...`, below that drive's mount point (a drive letter, see volumes.h);
// `Z:\...`, below this machine's own root; `\\server\share\...`, below the mount of that share;
// `\\.\X:`, the volume itself; `/...` or `\...`, a path of this machine as it stands; anything
// else, from the process's current folder. Components split at `\` and `/`. Below a drive or a
// share a name is found with its exact spelling first, then without case, and `..` ends at its
// root; a path of this machine or from the current folder is taken to the letter.
//
// Below a drive or a share, but not below `Z:`, a link is followed only if its target is relative
// and lies there too; any other is ERROR_ACCESS_DENIED, and so is a device.
//
// What a file name may hold and texts may not (bytes that aren't UTF-8, control characters, a
// backslash, U+FFFE and U+FFFF) shows as units from the private area, one a byte, U+F000 + byte,
// and leads back to those bytes; a file whose name really has such a unit is found first, and a
// walk leaves out the other one of two files whose names read the same.
//
// Last errors of all calls: ERROR_FILE_NOT_FOUND, ERROR_PATH_NOT_FOUND (a folder above is
// missing), ERROR_ACCESS_DENIED (no right, a folder where a file is meant, or a socket or pipe),
// ERROR_SHARING_VIOLATION, ERROR_INVALID_NAME, ERROR_FILENAME_EXCED_RANGE, ERROR_WRITE_PROTECT (a
// read-only file system), ERROR_DISK_FULL, ERROR_NOT_READY (a drive without media or whose
// folder has vanished), ERROR_IO_DEVICE, ERROR_TOO_MANY_OPEN_FILES, ERROR_NOT_ENOUGH_MEMORY,
// ERROR_FILE_EXISTS, ERROR_DIR_NOT_EMPTY, ERROR_FILE_TOO_LARGE, ERROR_INVALID_HANDLE.

#include <memory>
#include <string>
#include <string_view>

#include "platform/error.h"
#include "platform/types.h"

inline constexpr DWORD GENERIC_READ = 0x80000000;
inline constexpr DWORD GENERIC_WRITE = 0x40000000;
inline constexpr DWORD FILE_APPEND_DATA = 4;  ///< each write goes whole behind what is there then
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
inline constexpr DWORD FILE_FLAG_BACKUP_SEMANTICS = 0x02000000;
inline constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;

/// What a folder walk gives of one entry.
struct WIN32_FIND_DATAW {
    DWORD dwFileAttributes;
    FILETIME ftCreationTime;  ///< the last write where the file system keeps none
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

// The C library has a macro of this member's name.
#pragma push_macro("st_mtime")
#undef st_mtime
/// What _wstat64i32 gives of a path, as far as anybody here asks.
struct FileStatus {
    std::uint16_t st_mode;  ///< 0x4000 for a folder, 0x8000 for a file
    std::int32_t st_size;   ///< the low 32 bits
    std::int64_t st_mtime;  ///< seconds since 1970 UTC
    std::uint64_t st_dev;   ///< the file system
    std::uint64_t st_ino;   ///< the number there, which may change while nobody has it open
};
#pragma pop_macro("st_mtime")

/// The parts of a path, as _wsplitpath gives them: all four behind each other are the path.
struct PathParts {
    std::u16string_view drive;      ///< `E:` or empty
    std::u16string_view directory;  ///< up to and with the last slash
    std::u16string_view name;
    std::u16string_view extension;  ///< with its dot
};

#pragma GCC visibility push(default)

PathParts splitPath(std::u16string_view path) noexcept;

/// Opens or makes a file, or opens a volume (`\\.\X:`) for device_io.h and flushing, or a folder
/// with FILE_FLAG_BACKUP_SEMANTICS for flushing.
/// access: GENERIC_READ and GENERIC_WRITE, FILE_APPEND_DATA, or 0 (ask only, which takes part in
/// no sharing). share: what others may do meanwhile. To read or write what another opener of ours,
/// in any process, doesn't share, or not to share what it does, is ERROR_SHARING_VIOLATION, and the
/// file stays as it is. disposition: CREATE_NEW, CREATE_ALWAYS (empties an existing file; its mode
/// stays; last error ERROR_ALREADY_EXISTS on success then), OPEN_EXISTING. A new file is made with
/// the process's umask. An existing read-only file isn't opened for writing: ERROR_ACCESS_DENIED.
/// Other attributes and flags than the one named are ignored. A target on a full disk is opened and
/// fails at its first write. INVALID_HANDLE_VALUE on failure.
HANDLE CreateFileW(const WCHAR* path, DWORD access, DWORD share,
                   const SECURITY_ATTRIBUTES* security, DWORD disposition, DWORD flagsAndAttributes,
                   HANDLE templateFile) noexcept;

/// The same by a path in UTF-8.
HANDLE CreateFileA(const char* path, DWORD access, DWORD share, const SECURITY_ATTRIBUTES* security,
                   DWORD disposition, DWORD flagsAndAttributes, HANDLE templateFile) noexcept;

/// Reads up to `size` bytes at the file's position. Fewer only at the end of the file, where 0
/// bytes are a success. `overlapped` is null. On failure *read tells what had arrived.
BOOL ReadFile(HANDLE file, void* buffer, DWORD size, DWORD* read, void* overlapped) noexcept;

/// Writes all `size` bytes or fails; on failure *written tells how many are in the file.
BOOL WriteFile(HANDLE file, const void* buffer, DWORD size, DWORD* written,
               void* overlapped) noexcept;

BOOL GetFileSizeEx(HANDLE file, LARGE_INTEGER* size) noexcept;

/// The last write (the other two times may be null and are ignored) of an open file.
BOOL SetFileTime(HANDLE file, const FILETIME* creation, const FILETIME* lastAccess,
                 const FILETIME* lastWrite) noexcept;

/// Waits until the file, or everything on the volume, is on the medium.
BOOL FlushFileBuffers(HANDLE file) noexcept;

/// A file only: a folder is ERROR_ACCESS_DENIED, and so is a read-only file, such as a picture
/// that was protected in the camera. A link goes, and not what it leads to.
BOOL DeleteFileW(const WCHAR* path) noexcept;

/// Renames within one file system. An existing target is left alone: ERROR_ALREADY_EXISTS.
BOOL MoveFileW(const WCHAR* from, const WCHAR* to) noexcept;

/// INVALID_FILE_ATTRIBUTES on failure. Hidden is the FAT attribute where the file system has one,
/// elsewhere a leading dot; read-only is a file that its owner may not write.
DWORD GetFileAttributesW(const WCHAR* path) noexcept;

/// False on failure.
bool _wstat64i32(const WCHAR* path, FileStatus& status) noexcept;

/// The path of this machine, `/...`, on which no link lies, to what a path leads to; empty on
/// failure.
std::u16string finalPath(const WCHAR* path) noexcept;

/// The descriptor beneath an open file or folder, for what no call here does. It stays the
/// handle's, and goes with it. -1 with the last error.
int descriptorOfOpenFile(HANDLE file) noexcept;

/// ERROR_ALREADY_EXISTS, also for a file of that name.
BOOL CreateDirectoryW(const WCHAR* path, const SECURITY_ATTRIBUTES* security) noexcept;

/// The process's current folder, as a path that the other calls take. The result counts as
/// Windows has it: units written without the terminator; with too little room the units needed
/// with it; 0 on failure.
DWORD GetCurrentDirectoryW(DWORD room, WCHAR* buffer) noexcept;
BOOL SetCurrentDirectoryW(const WCHAR* path) noexcept;

/// The user's own folder `tmp` below the machine root, in its drive form (`Z:\...\tmp\`) with a
/// trailing backslash, so that it joins like any path; made on the way. Result as for
/// GetCurrentDirectoryW.
DWORD GetTempPathW(DWORD room, WCHAR* buffer) noexcept;

/// Starts a walk of a folder; `pattern` is the folder and `*` or `*.*`, both of which mean every
/// entry. Entries come in the order of their names, case ignored, `.` and `..` first. Files and
/// folders only: pipes, sockets, devices, and links that lead to a folder, nowhere or off the card
/// are left out, so that a walk ends and an open never blocks. A walk holds the names of its
/// folder, of up to 4,000,000 entries. INVALID_HANDLE_VALUE on failure. The handle is closed with
/// FindClose.
HANDLE FindFirstFileW(const WCHAR* pattern, WIN32_FIND_DATAW* entry) noexcept;

/// ERROR_NO_MORE_FILES at the end. An entry that has vanished since is left out. Where the folder
/// or an entry can't be read, what can be is given, and the walk ends with the error of the rest.
BOOL FindNextFileW(HANDLE find, WIN32_FIND_DATAW* entry) noexcept;
BOOL FindClose(HANDLE find) noexcept;

/// Files here are written through at once; returns 0, the number of C streams flushed.
int _flushall() noexcept;

#pragma GCC visibility pop

namespace zlk {

struct EndWalk {
    void operator()(void* walk) const noexcept { FindClose(walk); }
};
using UniqueWalk = std::unique_ptr<void, EndWalk>;

/// FindFirstFileW with an owner for the walk; empty with the last error.
inline UniqueWalk startWalk(const std::u16string& pattern, WIN32_FIND_DATAW& entry) noexcept {
    const HANDLE walk = FindFirstFileW(pattern.c_str(), &entry);
    return UniqueWalk(walk == INVALID_HANDLE_VALUE ? nullptr : walk);
}

}  // namespace zlk
