#pragma once
// Where a path text leads: from an open folder down by names.
//
// A card is somebody else's, and what lies on it must not lead out of it. So a drive or a share is
// an open folder, and the kernel resolves the rest below it (openat2): links with a relative
// target are followed while they stay inside; one that leaves, or names an absolute path, is
// refused with ERROR_ACCESS_DENIED. A kernel without that call follows no link there at all. `Z:`,
// `/...` and paths from the current folder are the user's own and have no such fence.
//
// A path is tried as it is spelled, in one call. Only a miss goes down name by name: as spelled,
// with its units as bytes, then by reading the folder for the same text, case ignored where the
// form of the path says so.

#include <optional>
#include <string>
#include <vector>

#include "platform/internal/Descriptor.h"
#include "platform/internal/DeviceName.h"

namespace zlk::platform {

class PathTarget {
  public:
    /// Opens the folder that the path starts from; none with the last error. The text must outlive
    /// the object.
    static std::optional<PathTarget> find(const WCHAR* path);
    static std::optional<PathTarget> find(const DeviceName& name);

    /// Whether the drive, share or folder that it starts from is meant itself.
    bool isRoot() const noexcept { return components_.empty(); }
    /// Whether it lies behind the fence of a drive or share.
    bool isFenced() const noexcept { return fenced_; }

    /// Opens what the path names, with flags of open(2) but O_CREAT. Empty with the last error.
    Descriptor open(int flags);

    /// The name of what open() has opened, as it is spelled there; `.` for a root.
    std::string lastName() const { return way_.substr(way_.rfind('/') + 1); }

    /// Opens what a name leads to in the folder that open() has opened, links followed as for a
    /// path. Empty with errno.
    Descriptor openEntry(const char* name, int flags) const;

    /// An entry of a folder, whether it exists or may be made; a link stands for itself.
    struct Entry {
        Descriptor folder;
        std::string name;
        bool exists = false;
    };
    /// The entry that the path names; none with the last error.
    std::optional<Entry> entry() const;

  private:
    /// A path from the base in the spelling of the names that exist.
    struct Spelling {
        std::string way;
        Descriptor folder;  ///< that holds the last name
        std::string name;
        bool exists = false;
    };

    PathTarget(Descriptor base, std::vector<std::u16string_view> components);
    Descriptor openBelow(const std::string& way, int flags) const;
    std::optional<Spelling> spell() const;

    Descriptor base_;  ///< empty: the current folder
    std::vector<std::u16string_view> components_;
    bool fenced_ = false;
    bool anyCase_ = false;
    std::string way_ = ".";  ///< from the base to what open() has opened
};

/// The name in a folder that a text leads to; none if there is none.
std::optional<std::string> findName(int folder, std::u16string_view text, bool anyCase);

}  // namespace zlk::platform
