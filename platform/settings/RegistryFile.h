#pragma once
// The file of a store: who may have written it, and how a new one comes to be.

#include <sys/stat.h>

#include <span>
#include <string>

#include "platform/types.h"

namespace zlk::platform {

/// What tells one state of a file from another; all zeros for no file.
struct FileStamp {
    dev_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t size = 0;
    std::int64_t made = 0;     ///< ns, 0 where the file system doesn't tell
    std::int64_t changed = 0;  ///< ns

    static FileStamp of(const std::string& path) noexcept;
    bool exists() const noexcept { return inode != 0; }
    /// Also where a new file has got the number of one that is gone.
    bool sameFileAs(const FileStamp& other) const noexcept {
        return device == other.device && inode == other.inode && made == other.made;
    }
    friend bool operator==(const FileStamp&, const FileStamp&) = default;
};

/// Throws RegistryFailure, and tells why, unless this is a file that only the trusted may write:
/// ERROR_ACCESS_DENIED, or ERROR_BADDB for what is no file or an empty one. False if there is none.
bool checkStoreFile(const std::string& path);

/// Whether the caller may read the store at `path`.
bool mayReadStore(const std::string& path) noexcept;
/// Whether the caller may change the store at `path`, or make one there.
bool mayWriteStore(const std::string& path) noexcept;

/// Whether processes that map a file of this folder see each other's writes at once. Over a
/// network they don't.
bool sharesMemory(const std::string& path) noexcept;

/// Makes an empty store unless there is one by now. Never touches what is there. Throws
/// RegistryFailure.
void createStoreFile(const std::string& path, mode_t mode);

/// Makes a file that appears whole or not at all. Throws RegistryFailure, with ERROR_FILE_EXISTS
/// for a name that is taken.
void createWholeFile(const std::string& path, std::span<const BYTE> bytes, mode_t mode);

}  // namespace zlk::platform
