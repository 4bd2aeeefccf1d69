#pragma once
// The file of a settings store: whether it can be trusted, and how a new one is made.

#include <sys/stat.h>

#include <span>
#include <string>

#include "platform/types.h"

namespace zlk::platform {

/// Identifies one state of a file; all zeros if there is no file, or if its state can't be read.
struct FileStamp {
    dev_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t size = 0;
    std::int64_t made = 0;     ///< ns; 0 where the file system doesn't keep it
    std::int64_t changed = 0;  ///< ns

    static FileStamp of(const std::string& path) noexcept;
    bool exists() const noexcept { return inode != 0; }
    /// Whether both stamps are of one file, possibly with different content, or both of none. A new
    /// file may get the inode number of a deleted one; `made` then differs, if the file system
    /// keeps it.
    bool sameFileAs(const FileStamp& other) const noexcept {
        return device == other.device && inode == other.inode && made == other.made;
    }
    friend bool operator==(const FileStamp&, const FileStamp&) = default;
};

/// Checks a store's file and those of its logs that exist. False if the store itself is missing.
/// Throws RegistryFailure: ERROR_ACCESS_DENIED for a file that MachineRoot doesn't trust,
/// ERROR_BADDB for something that isn't a regular file and for an empty store. In these cases a
/// line to the diagnostics names the file. If a file can't be looked at, the failure has the
/// system's error.
bool checkStoreFile(const std::string& path);

/// Whether this process may read the store's file; the logs aren't looked at.
bool mayReadStore(const std::string& path) noexcept;
/// Whether this process may write the store's file, its write-ahead log and the log's index, or
/// make those that are missing.
bool mayWriteStore(const std::string& path) noexcept;

/// Whether processes that map a file on the file system of `path` see each other's writes at once,
/// which a write-ahead log needs. False for the network file systems that are known not to do that,
/// for FUSE, and for a path that can't be looked at; true for any other file system.
bool sharesMemory(const std::string& path) noexcept;

/// Makes an empty store. If there is a file at `path` already, it stays as it is. Logs that a
/// deleted store has left are removed; but if one of them may hold changes, nothing is made
/// (ERROR_BADDB, after a line to the diagnostics). ERROR_BUSY if another process holds the lock on
/// the folder for more than five seconds. Throws RegistryFailure.
void createStoreFile(const std::string& path, mode_t mode);

/// Makes a new file, which appears at `path` only after its whole content is on disk. Throws
/// RegistryFailure, with ERROR_FILE_EXISTS if the name is taken.
void createWholeFile(const std::string& path, std::span<const BYTE> bytes, mode_t mode);

}  // namespace zlk::platform
