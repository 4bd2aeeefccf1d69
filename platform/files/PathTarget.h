#pragma once
// Finds the file or folder that a path text leads to.
//
// open() first tries a path as it is spelled. Only if that finds nothing, the names are looked up
// one after the other: each as spelled, then with units for bytes (FileName.h) read as bytes, then
// by reading the folder for a name with the same text or, below a drive or a share, for one that
// differs only in case.

#include <optional>
#include <string>
#include <vector>

#include "platform/files/DeviceName.h"
#include "platform/files/PathRoot.h"

namespace zlk::platform {

/// A parsed path and the folder that it starts from. For one thread, and short-lived.
class PathTarget {
  public:
    /// Parses a path and finds the folder that it starts from; none with the last error. The text
    /// is borrowed and must outlive the object.
    static std::optional<PathTarget> find(const WCHAR* path);
    static std::optional<PathTarget> find(const DeviceName& name);

    /// Whether the path names nothing but the drive, share or folder from which it starts.
    bool isRoot() const noexcept { return components_.empty(); }
    bool isFenced() const noexcept { return root_.isFenced(); }

    /// Opens what the path names, with flags of open(2) except O_CREAT. Empty with the last error.
    Descriptor open(int flags);
    /// The path from the root to what open() has opened, in the spelling that exists; `.` for the
    /// root.
    const std::string& way() const noexcept { return way_; }
    /// Gives the root away; open() and entry() must not be called afterwards.
    PathRoot takeRoot() noexcept { return std::move(root_); }

    /// An entry of a folder, which exists or may be made. A link stands for itself.
    struct Entry {
        Descriptor folder;
        std::string name;
        bool exists = false;
    };
    /// Finds the entry that the path names; none with the last error, which is ERROR_ACCESS_DENIED
    /// for a root.
    std::optional<Entry> entry() const;

  private:
    /// A path from the root, with the spelling of names that exist, and its last entry.
    struct Spelling {
        std::string way;
        Entry entry;
    };

    PathTarget(PathRoot root, std::vector<std::u16string_view> components, bool anyCase);
    std::optional<Spelling> spell() const;

    PathRoot root_;
    // Views into the caller's text.
    std::vector<std::u16string_view> components_;
    bool anyCase_;
    std::string way_ = ".";
};

/// Finds the name in a folder that a text leads to; none if the folder has no such name. In a
/// folder that the caller may not list, only names that the text itself spells are found. False
/// with the last error if the folder can't be read for another reason.
bool findName(int folder, std::u16string_view text, bool anyCase, std::optional<std::string>& name);

}  // namespace zlk::platform
