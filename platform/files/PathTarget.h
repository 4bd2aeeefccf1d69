#pragma once
// Where a path text leads.
//
// A path is tried as it is spelled, in one call. Only a miss goes down name by name: as spelled,
// with its units as bytes, then by reading the folder for the same text, case ignored where the
// form of the path says so.

#include <optional>
#include <string>
#include <vector>

#include "platform/files/DeviceName.h"
#include "platform/files/PathRoot.h"

namespace zlk::platform {

class PathTarget {
  public:
    /// Finds the folder that the path starts from; none with the last error. The text must outlive
    /// the object.
    static std::optional<PathTarget> find(const WCHAR* path);
    static std::optional<PathTarget> find(const DeviceName& name);

    /// Whether the drive, share or folder that it starts from is meant itself.
    bool isRoot() const noexcept { return components_.empty(); }
    bool isFenced() const noexcept { return root_.isFenced(); }

    /// Opens what the path names, with flags of open(2) but O_CREAT. Empty with the last error;
    /// what leads over the fence is ERROR_ACCESS_DENIED.
    Descriptor open(int flags);
    /// From the root to what open() has opened, as the names are spelled there; `.` for the root.
    const std::string& way() const noexcept { return way_; }
    PathRoot takeRoot() noexcept { return std::move(root_); }

    /// An entry of a folder, whether it exists or may be made; a link stands for itself.
    struct Entry {
        Descriptor folder;
        std::string name;
        bool exists = false;
    };
    /// The entry that the path names; none with the last error.
    std::optional<Entry> entry() const;

  private:
    /// A path from the root in the spelling of the names that exist, and its last entry.
    struct Spelling {
        std::string way;
        Entry entry;
    };

    PathTarget(PathRoot root, std::vector<std::u16string_view> components, bool anyCase);
    std::optional<Spelling> spell() const;

    PathRoot root_;
    std::vector<std::u16string_view> components_;
    bool anyCase_;
    std::string way_ = ".";
};

/// The name in a folder that a text leads to; none if there is none. False with the last error
/// where that can't be found out.
bool findName(int folder, std::u16string_view text, bool anyCase, std::optional<std::string>& name);

}  // namespace zlk::platform
