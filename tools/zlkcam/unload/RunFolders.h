#pragma once
// The private folders of a run in one destination: one on each file system that copies go to, since
// a copy can only be moved to its name within one file system.

#include <sys/types.h>

#include <memory>
#include <string>
#include <unordered_map>

#include "tools/zlkcam/unload/FolderTree.h"
#include "tools/zlkcam/unload/RunFolder.h"

namespace zlk {

/// Creates the folders when they are first needed. Destination guards all but `removeCopies` and
/// `finish` by its mutex.
class RunFolders {
  public:
    /// `folders` stays the caller's and outlives this.
    explicit RunFolders(FolderTree& folders) : folders_(folders) {}

    /// Creates a hidden file on the file system on which a file at `wanted` would lie. Throws
    /// Failure (FileUnusable).
    HiddenCopy make(const std::string& wanted);
    /// The private folder in the destination itself, created on first use. Throws Failure
    /// (FileUnusable).
    RunFolder& top();

    /// On FAT, writes moved files through once more; until then a power cut would leave them
    /// without contents. An error is left to `flush`, which throws it.
    void flushMoved();
    /// Waits until all that was written to the folders' file systems is on the disk. Throws Failure
    /// (FileUnusable), which says that `doing` failed.
    void flush(const std::string& doing) const;

    void removeCopies() const noexcept;
    /// Deletes the folders that aren't kept.
    void finish() const noexcept;

  private:
    RunFolder& folderFor(const std::string& wanted);
    RunFolder& folderIn(const OpenFolder& parent, const std::string& path);

    FolderTree& folders_;
    // The folders by the number of their file system. Each is created on first use.
    std::unordered_map<dev_t, std::unique_ptr<RunFolder>> runFolders_;
    // The last error of flushMoved, or 0. The system reports an error of the disk only once to each
    // open folder, so that a later flush would succeed.
    int moveError_ = 0;
};

}  // namespace zlk
