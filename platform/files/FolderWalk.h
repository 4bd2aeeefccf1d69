#pragma once
// A walk through one folder. The names are read and sorted when it starts; each entry's size and
// times are asked for when its turn comes. One thread at a time may use a walk.

#include <span>
#include <string>
#include <vector>

#include "platform/base/Handle.h"
#include "platform/files.h"
#include "platform/files/PathRoot.h"

namespace zlk::platform {

class FolderWalk final : public Handle {
  public:
    /// Starts a walk through the folder of `pattern` (see FindFirstFileW); null with the last
    /// error.
    static std::shared_ptr<FolderWalk> start(const WCHAR* pattern);

    /// Gives the next entry. False at the end, with the first error that the walk met as the last
    /// error, or with ERROR_NO_MORE_FILES if it met none.
    bool next(WIN32_FIND_DATAW& entry);

    /// `way` is the path from `root` to `folder`; links in the folder are resolved from `root`.
    FolderWalk(PathRoot root, std::string way, Descriptor folder);

  private:
    /// Where an entry's name and text lie in the two strings that hold all names and texts. A
    /// folder may have millions of entries, and two strings for each would need far more memory.
    struct Name {
        std::uint32_t name, text;
        std::uint16_t textLength;
    };
    void readNames();
    void sortNames();
    /// Keeps one of several names that have the same text, and reports that to the diagnostics.
    void leaveOutTwins();
    const Name& foundFirst(std::span<const Name> twins) const;
    /// Remembers the error with which the walk is to end, unless there was an earlier one.
    void note(DWORD error) noexcept;
    /// Fills in an entry; false for one that is left out.
    bool describe(const Name& name, WIN32_FIND_DATAW& entry);
    const char* bytesOf(const Name& name) const noexcept { return bytes_.c_str() + name.name; }
    std::u16string_view textOf(const Name& name) const noexcept {
        return std::u16string_view(texts_).substr(name.text, name.textLength);
    }

    const PathRoot root_;
    const std::string way_;  // from root_ to folder_
    const Descriptor folder_;
    const bool fat_;           // the file system keeps FAT attributes
    std::string bytes_;        ///< the names, each with a terminator
    std::u16string texts_;     ///< the texts of the names, one after the other
    std::vector<Name> names_;  ///< sorted by text, case ignored
    std::size_t position_ = 0;
    unsigned dots_ = 0;                  ///< how many of `.` and `..` have been given
    DWORD error_ = ERROR_NO_MORE_FILES;  ///< the error with which the walk ends
};

}  // namespace zlk::platform
