#pragma once
// The folders at and below a destination, which copies are moved into.
//
// All folders are reached through open descriptors: another program may make a path lead elsewhere
// during the run, and resolving a long path for each file costs time. Paths below the destination
// have `/` between their names, and the empty one is the destination itself.

#include <sys/types.h>

#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/descriptor.h"
#include "tools/zlkcam/unload/DeviceRoot.h"
#include "tools/zlkcam/unload/FileIdentity.h"
#include "tools/zlkcam/unload/HiddenCopy.h"

namespace zlk {

/// The path of the folder that a file lies in; empty if that is the destination itself.
std::string folderOf(const std::string& file);
/// The last component of a path.
std::string nameOf(const std::string& file);

/// An open folder, and where it lies.
struct OpenFolder {
    Descriptor descriptor{};
    std::vector<FileIdentity> way{};  ///< the folder and all folders above it, from the inside out

    /// The number of its file system.
    dev_t device() const { return way.front().device; }
};

/// A path split into its open folder, whose descriptor stays the tree's, and the name in it.
struct Place {
    int folder;
    std::string name;
};

/// Finds and creates the folders of a destination, and moves copies into them. What `find` and
/// `placeOf` return is valid until the next call that isn't const. Used by one thread at a time;
/// `top` and `shown`, whose answers never change, by any thread.
class FolderTree {
  public:
    /// `top` is the destination, and has no descriptor if that is missing; `name` is its name for
    /// messages. `device` stays the caller's and outlives this.
    FolderTree(OpenFolder top, std::string name, const DeviceRoot& device);

    const OpenFolder& top() const { return top_; }
    /// A path as messages have it.
    std::string shown(std::string_view path) const;

    /// Opens a folder; null if it doesn't exist. Throws Failure (FileUnusable), also if it lies on
    /// the device.
    const OpenFolder* find(const std::string& folder);
    /// Finds the place of a file, and creates the folders that are missing on the way. Throws
    /// Failure (FileUnusable).
    Place placeOf(const std::string& file);
    /// Opens a regular file for reading. Empty with errno if that fails, or if the file lies on the
    /// device. Throws what `find` throws for its folder.
    Descriptor openFile(const std::string& file);

    /// Moves a copy to the path `file`, and creates the folders that are missing on the way.
    /// Returns false, with the copy where it was, if the path is taken. Any other failure throws
    /// Failure (FileUnusable).
    bool move(HiddenCopy& copy, const std::string& file);
    /// Waits until all names that were made here are on the disk, as far as flushing their folders
    /// does that. Throws Failure (FileUnusable). If a folder is gone, the failure says that `doing`
    /// failed.
    void flushNames(const std::string& doing);

  private:
    /// Opens a folder and the folders on the way to it. Missing folders are created if `make` is
    /// set; without `make` the result is null if one is missing.
    const OpenFolder* enter(const std::string& folder, bool make);
    OpenFolder open(const OpenFolder& above, const std::string& folder, bool make);
    void limitFolders();

    const OpenFolder top_;
    const std::string name_;
    const DeviceRoot& device_;
    // Open folders by their paths, a cache.
    std::unordered_map<std::string, OpenFolder> folders_;
    std::set<std::string> changed_;  // folders with names that may not be on the disk yet
};

}  // namespace zlk
