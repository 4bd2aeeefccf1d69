#pragma once
// The file of a settings store: whether it can be trusted, and how a new one is made.

#include <sys/stat.h>

#include <span>
#include <string>

#include "platform/types.h"

namespace zlk::platform {

/// Identifies one state of a file; all zeros if there is no file.
struct FileStamp {
    dev_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t size = 0;
    std::int64_t made = 0;     ///< ns; 0 where the file system doesn't keep it
    std::int64_t changed = 0;  ///< ns

    static FileStamp of(const std::string& path) noexcept;
    bool exists() const noexcept { return inode != 0; }
    /// Whether it is the same file, possibly with other content. The time of its making tells it
    /// from a new file that got the inode number of a deleted one.
    bool sameFileAs(const FileStamp& other) const noexcept {
        return device == other.device && inode == other.inode && made == other.made;
    }
    friend bool operator==(const FileStamp&, const FileStamp&) = default;
};

/// Checks a store's file and its logs. False if there is no file. Throws RegistryFailure, after a
/// line to the diagnostics, for a file that others may write (ERROR_ACCESS_DENIED), and for
/// something that isn't a file or is empty (ERROR_BADDB).
bool checkStoreFile(const std::string& path);

/// Whether the caller may read the store at `path`.
bool mayReadStore(const std::string& path) noexcept;
/// Whether the caller may change the store at `path`, or make one there.
bool mayWriteStore(const std::string& path) noexcept;

/// Whether processes that map a file on the file system of `path` see each other's writes at once,
/// which a write-ahead log needs. Over a network they don't.
bool sharesMemory(const std::string& path) noexcept;

/// Makes an empty store, unless another process has made one meanwhile. It never changes a store
/// that is there. The logs of a store that was deleted are removed, unless they hold changes
/// (ERROR_BADDB). Throws RegistryFailure.
void createStoreFile(const std::string& path, mode_t mode);

/// Makes a new file that appears with its whole content or not at all, on disk already. Throws
/// RegistryFailure, with ERROR_FILE_EXISTS for a name that is taken.
void createWholeFile(const std::string& path, std::span<const BYTE> bytes, mode_t mode);

}  // namespace zlk::platform
