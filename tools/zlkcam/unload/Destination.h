#pragma once
// A folder of this machine that files of a device are copied into, and the only place that gives
// copies their names.
//
// A file is written into the private folder of this run, and moved to its own name when it is whole
// and on the disk. A move never replaces a file. Whatever interrupts a run, nobody can mistake half
// a file for a picture, and no file that was there before is changed.
//
// Everything below the folder is reached through open descriptors: another program may make the
// path lead elsewhere during the run, and resolving a long path for each file costs time.

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "tools/zlkcam/ContentSum.h"
#include "tools/zlkcam/unload/RunFolder.h"

namespace zlk {

/// What identifies a file or folder, by whatever name it was reached: file system and inode.
struct FileIdentity {
    dev_t device = 0;
    ino_t number = 0;
    bool operator==(const FileIdentity&) const = default;
};

/// A whole file that is to get its name, and where it went.
struct Placement {
    HiddenCopy* copy;
    std::string wanted;  ///< path below the destination
    std::uint64_t size = 0;
    ContentSum sum{};

    std::string placed{};   ///< where it lies now; empty: nowhere
    bool wasThere = false;  ///< as a file with the same bytes, and `copy` isn't needed any more
};

/// The placement of a file whose size and sum aren't known yet, which it finds out by reading it.
/// Throws Failure (FileUnusable).
Placement placementOf(HiddenCopy& copy, const std::string& wanted);

/// Thread-safe: the thread that copies makes files while that of a Settler places others.
class Destination {
  public:
    /// Whether a missing destination is created, or nothing is changed (in a rehearsal).
    enum class Making { Folder, Nothing };

    /// Creates the folder if only its last component is missing, unless `making` is Nothing.
    /// `device` is the root of the device that is unloaded, empty for a camera, which is no folder.
    /// Throws Failure (FileUnusable), also if the folder lies on the device, by whatever links or
    /// mounts.
    explicit Destination(const std::u16string& path, const std::u16string& device = {},
                         Making making = Making::Folder);

    /// The path as the user gave it, made absolute.
    const std::u16string& path() const { return path_; }
    /// The path of a file of the destination, for messages; of the folder itself if `file` is
    /// empty.
    std::string shown(std::string_view file) const;
    /// Whether the folder doesn't exist and wasn't to be created. Then only the names may be asked
    /// for.
    bool isMissing() const { return !folder_; }
    /// The folder's descriptor, which stays this object's; -1 if it is missing.
    int folder() const { return folder_.get(); }
    /// The folder and all folders above it, from the inside out; empty if the folder is missing.
    const std::vector<FileIdentity>& way() const { return way_; }

    /// Creates the hidden file that is going to be placed at `wanted`. Throws Failure
    /// (FileUnusable).
    HiddenCopy make(const std::string& wanted);

    /// Waits until the bytes of all these files are on the disk. Throws Failure (FileUnusable).
    void flush(std::span<HiddenCopy* const> copies) const;

    /// Moves files of one shot, such as RAW and JPEG, to their names. They share the first of
    /// `name`, `name (2)`, `name (3)` that is free for each of them. If a file of these names has
    /// the same bytes already, it counts as the copy, unless it is a link to the device. Throws
    /// Failure (FileUnusable); some of the files may have been placed by then.
    void place(std::span<Placement> together);

    /// Where a power cut would leave moved files without contents (FAT), writes them through once
    /// more, which shortens that time. Errors are left to flushNames, which would meet them, too.
    void flushMoved();

    /// Finds a copy among `name`, `name (2)`... by size and modification time, the latter to within
    /// the two seconds of a card's clock; empty if there is none. A link to the device doesn't
    /// count. Each file is returned once only, and so stands for one file of the device, since two
    /// cards, or two folders of one, may have pictures of the same name, size and time.
    std::string findSame(const std::string& wanted, std::uint64_t size, std::int64_t modified);

    /// Opens a file of the destination for reading; empty with errno if there is no such file or it
    /// lies on the device.
    Descriptor openFile(const std::string& file);

    /// Waits until the names of all placed files are on the disk. Throws Failure (FileUnusable).
    void flushNames();

    /// Descriptor of this run's private folder, which also holds the run's journal.
    int runFolder();
    /// Whether that folder stays for a later run when this object is destroyed.
    void keepRunFolder(bool isKept);
    /// For a program that ends without running destructors: the first removes the unfinished
    /// copies, the second all that belongs to this run and isn't kept.
    void removeCopies() const noexcept;
    void finishRunFolders() const noexcept;

  private:
    /// An open folder at or below the destination, and its file system.
    struct Folder {
        Descriptor descriptor;
        dev_t device = 0;
    };
    struct Namesake {
        std::string file;
        std::int64_t modified;
        bool isCounted = false;           // it already stands for a file of the device
        std::optional<ContentSum> sum{};  // made when first needed
    };
    /// The files `name`, `name (2)`... of one name. The folder is searched for them once only,
    /// because some cameras call all their pictures by the same name.
    struct Namesakes {
        unsigned next = 1;  // the first number that is free
        std::unordered_multimap<std::uint64_t, Namesake> bySize;
    };
    /// A path below the destination, split into its folder and the name in it.
    struct Place {
        const Folder& folder;
        std::string name;
    };

    /// Opens a folder below the destination, and all that lead to it. Missing ones are created if
    /// `make` is set; else the result is null.
    const Folder* enter(const std::string& folder, bool make);
    Folder open(const Folder& parent, const std::string& name, const std::string& folder,
                bool make);
    Place placeOf(const std::string& file);
    /// The private folder on the file system on which `wanted` will lie, created on first use.
    RunFolder& runFolderFor(const std::string& wanted);
    RunFolder& topRunFolder();
    bool isDeviceAmong(const std::vector<FileIdentity>& way) const;
    /// Whether an open file lies on the device; none with errno if that can't be found out.
    std::optional<bool> isOnDevice(int file) const;
    /// Returns the way of a folder, and throws Failure if the device is in it.
    std::vector<FileIdentity> requireElsewhere(int folder, const std::string& shownFolder) const;

    Namesakes& namesakesOf(const std::string& file);
    /// The namesake with the same bytes, null if there is none.
    Namesake* copyAmong(Namesakes& namesakes, const Placement& placement);
    bool isCopy(const Placement& placement, const std::string& file);
    /// False with errno (EEXIST) if the name is taken. Throws Failure for all else.
    bool move(Placement& placement, const std::string& name);
    bool isFree(const std::string& file);
    /// Places files that need a name of their own, because none of their namesakes has their bytes.
    void placeBeside(std::span<Placement* const> together);
    Descriptor openPlaced(const std::string& file);

    std::u16string path_;
    // The root of the device that is unloaded; none for a camera.
    std::optional<FileIdentity> device_;
    Descriptor folder_;
    std::vector<FileIdentity> way_;  // from the folder up to the root; constant once constructed
    std::mutex inUse_;               // guards all below
    // Open folders by their paths below the destination, a cache.
    std::unordered_map<std::string, Folder> folders_;
    std::set<std::string> changed_;  // folders with names that may not be on the disk yet
    // One for each file system at or below the destination, by its number.
    std::unordered_map<dev_t, std::unique_ptr<RunFolder>> runFolders_;
    // By the wanted path, before any number was added.
    std::unordered_map<std::string, Namesakes> namesakes_;
};

}  // namespace zlk
