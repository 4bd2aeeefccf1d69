#pragma once
// A folder of this machine that files of a device are copied into.
//
// A file is written into the private folder of this run, and moved to its own name when it is
// whole and on the disk; a move never replaces a file. So whatever is interrupted, and however, no
// half file has a name that anybody would take for a picture, and no file that was there before is
// touched.
//
// All below the folder is reached by open descriptors: its path may lead elsewhere meanwhile, and
// is long to walk.

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

/// A file of this machine by what no name can hide.
struct FileIdentity {
    dev_t device = 0;
    ino_t number = 0;
    bool operator==(const FileIdentity&) const = default;
};

/// A whole file that is to get its name.
struct Placement {
    HiddenCopy* copy;
    std::string wanted;  ///< path below the destination
    std::uint64_t size = 0;
    ContentSum sum{};

    std::string placed{};   ///< where it lies now; empty: nowhere
    bool wasThere = false;  ///< as a file with the same bytes, and `copy` isn't needed any more
};

/// For a file whose size and sum nobody knows yet. Throws Failure (FileUnusable).
Placement placementOf(HiddenCopy& copy, const std::string& wanted);

/// What copies files, and what settles them, may call it at the same time.
class Destination {
  public:
    enum class Making { Folder, Nothing };

    /// Makes the folder if only its last component is missing, unless nothing shall be made. Throws
    /// Failure (FileUnusable), also where it lies on the device, whose root is `device`, by
    /// whatever names; empty for one that is no folder.
    explicit Destination(const std::u16string& path, const std::u16string& device = {},
                         Making making = Making::Folder);

    /// As people know it.
    const std::u16string& path() const { return path_; }
    /// The same of a file in it.
    std::string shown(std::string_view file) const;
    /// There is no such folder, and none was to be made: only names are asked of it then.
    bool isMissing() const { return !folder_; }
    int folder() const { return folder_.get(); }
    /// What the folder is, unless it is missing, and all that it lies in, from the inside out.
    const std::vector<FileIdentity>& way() const { return way_; }

    /// A file that is going to be placed at `wanted`. Throws Failure (FileUnusable).
    HiddenCopy make(const std::string& wanted);

    /// Waits until the bytes of all these files are on the disk. Throws Failure (FileUnusable).
    void flush(std::span<HiddenCopy* const> copies) const;

    /// Moves files of one shot, as RAW and JPEG, to their names, all to the first of `name`,
    /// `name (2)`, `name (3)` that is free for each of them. Where one of these has the same bytes
    /// already, it counts as the copy; a link to the device doesn't count. Throws Failure
    /// (FileUnusable) after which some may be placed.
    void place(std::span<Placement> together);

    /// Shortens the time in which a power cut would leave moved files without contents, where the
    /// file system has such a time. A failure shows when all names are flushed.
    void flushMoved();

    /// The file among `name`, `name (2)`... with this size and modification time, to the two
    /// seconds that a card's clock has; empty if there is none. A link to the device is none, nor
    /// is one that was found before: each stands for one file of the device only, since two cards,
    /// or two folders of one, may have pictures of one name, size and time.
    std::string findSame(const std::string& wanted, std::uint64_t size, std::int64_t modified);

    /// A file in it, to be read; none with errno where there isn't one that can be read, or where
    /// it lies on the device.
    Descriptor openFile(const std::string& file);

    /// Waits until the names of all that was placed are on the disk. Throws Failure (FileUnusable).
    void flushNames();

    /// The private folder of this run, where it notes down what it did.
    int runFolder();
    /// Whether it stays when this goes, for a later run.
    void keepRunFolder(bool isKept);
    /// Takes away what isn't whole, or all that is this run's and isn't kept: for a program that
    /// ends without leaving the scopes.
    void removeCopies() const noexcept;
    void finishRunFolders() const noexcept;

  private:
    struct Folder {
        Descriptor descriptor;
        dev_t device = 0;
    };
    struct Namesake {
        std::string file;
        std::int64_t modified;
        bool isCounted = false;           // stands for a file of the device
        std::optional<ContentSum> sum{};  // once it was asked for
    };
    /// The files `name`, `name (2)`..., looked at once: there are cameras that call all their
    /// pictures by one name.
    struct Namesakes {
        unsigned next = 1;  // the first number that none of them has
        std::unordered_multimap<std::uint64_t, Namesake> bySize;
    };
    /// A path below the destination, taken apart.
    struct Place {
        const Folder& folder;
        std::string name;
    };

    /// Opens a folder below, and makes what is missing of it if `make`; null if it is missing.
    const Folder* enter(const std::string& folder, bool make);
    Folder open(const Folder& parent, const std::string& name, const std::string& folder,
                bool make);
    Place placeOf(const std::string& file);
    RunFolder& runFolderFor(const std::string& wanted);
    RunFolder& topRunFolder();
    bool isDeviceAmong(const std::vector<FileIdentity>& way) const;
    /// Of a file; none with errno where that can't be found out.
    std::optional<bool> isOnDevice(int file) const;
    /// Gives the folder's way.
    std::vector<FileIdentity> requireElsewhere(int folder, const std::string& shownFolder) const;

    Namesakes& namesakesOf(const std::string& file);
    Namesake* copyAmong(Namesakes& namesakes, const Placement& placement);
    bool isCopy(const Placement& placement, const std::string& file);
    /// False with errno.
    bool move(Placement& placement, const std::string& name);
    bool isFree(const std::string& file);
    void placeBeside(std::span<Placement* const> together);
    Descriptor openPlaced(const std::string& file);

    std::u16string path_;
    std::optional<FileIdentity> device_;
    Descriptor folder_;
    std::vector<FileIdentity> way_;  // from the folder up to the root
    std::mutex inUse_;               // held for what stands below
    std::unordered_map<std::string, Folder> folders_;
    std::set<std::string> changed_;  // folders with names that may not be on the disk yet
    std::unordered_map<dev_t, std::unique_ptr<RunFolder>> runFolders_;
    std::unordered_map<std::string, Namesakes> namesakes_;
};

}  // namespace zlk
