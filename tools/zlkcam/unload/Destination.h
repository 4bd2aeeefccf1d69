#pragma once
// A folder of this machine that files of a device are copied into, and the only place that gives
// copies their names.
//
// A file is written into a private folder of this run, and moved to its own name when it is whole.
// A caller whose files have to survive a power cut flushes them before that, and calls flushMoved()
// and flushNames() afterwards. A move replaces no file that was there when it began. If a run is
// killed, nobody can mistake half a file for a picture, and no file that was there before is
// changed.

#include <cstdint>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/zlkcam/unload/DeviceRoot.h"
#include "tools/zlkcam/unload/FileIdentity.h"
#include "tools/zlkcam/unload/FolderTree.h"
#include "tools/zlkcam/unload/HiddenCopy.h"
#include "tools/zlkcam/unload/Placer.h"
#include "tools/zlkcam/unload/RunFolders.h"

namespace zlk {

/// Thread-safe, except for `removeCopies` and `finishRunFolders`: the thread that copies makes
/// files while the thread of a Settler places others.
class Destination {
  public:
    /// Whether a missing destination is created, or nothing is changed, as in a rehearsal.
    enum class Making { Folder, Nothing };

    /// Creates the folder if only its last component is missing, unless `making` is Nothing.
    /// `device` is the root of the device that is unloaded, empty for a camera, which is no folder.
    /// Throws Failure: Usage for an empty path, NotConnected if the device can't be looked at, and
    /// FileUnusable if the folder can't be created or opened, or lies on the device as far as
    /// DeviceRoot can tell.
    explicit Destination(const std::u16string& path, const std::u16string& device = {},
                         Making making = Making::Folder);

    /// The path as the user gave it, made absolute.
    const std::u16string& path() const { return path_; }
    /// The path of a file of the destination, for messages; of the folder itself if `file` is
    /// empty.
    std::string shown(std::string_view file) const { return folders_.shown(file); }
    /// Whether the folder couldn't be opened, which only Making::Nothing allows: it may not exist
    /// yet. Then only `path`, `shown`, `folder`, `way` and `findSame` may be called.
    bool isMissing() const { return !folders_.top().descriptor; }
    /// The folder's descriptor, which stays this object's; -1 if the folder is missing.
    int folder() const { return folders_.top().descriptor.get(); }
    /// The folder and all folders above it, from the inside out. If the folder is missing, only
    /// those above it that exist.
    const std::vector<FileIdentity>& way() const { return folders_.top().way; }

    /// Creates a hidden file on the file system on which a file at `wanted` would lie. Throws
    /// Failure (FileUnusable).
    HiddenCopy make(const std::string& wanted);

    /// `place` and `findSame` do what they do in Placer. If the folder is missing, `findSame` finds
    /// nothing.
    void place(std::span<Placement> together);
    std::string findSame(const std::string& wanted, std::uint64_t size, std::int64_t modified);

    /// On FAT, writes moved files through once more; until then a power cut would leave them
    /// without contents. An error is left to flushNames, which throws it.
    void flushMoved();

    /// Opens a regular file of the destination for reading. Empty with errno if that fails, or if
    /// the file lies on the device. Throws Failure (FileUnusable) if its folder can't be opened, or
    /// lies on the device.
    Descriptor openFile(const std::string& file);

    /// Waits until the names of all placed files are on the disk. Throws Failure (FileUnusable).
    void flushNames();

    /// Descriptor of this run's private folder in the destination, which also holds the journal.
    /// The folder is created on first use. Throws Failure (FileUnusable).
    int runFolder();
    /// Whether this run's private folder stays for a later run when this object is destroyed.
    void keepRunFolder(bool isKept);
    /// removeCopies deletes the unfinished copies, finishRunFolders the private folders that aren't
    /// kept, with all that is in them. Neither takes the mutex, so that a program can end while
    /// another thread holds it.
    void removeCopies() const noexcept;
    void finishRunFolders() const noexcept;

  private:
    const std::u16string path_;
    const DeviceRoot device_;
    std::mutex inUse_;  // guards what changes in the members below
    FolderTree folders_;
    RunFolders runFolders_;
    Placer placer_;
};

}  // namespace zlk
