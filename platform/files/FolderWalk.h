#pragma once
// A walk of one folder. The names are read and sorted when it starts, and each entry is asked for
// its size and times when it is its turn.

#include <span>
#include <string>
#include <vector>

#include "platform/base/Handle.h"
#include "platform/files.h"
#include "platform/files/PathRoot.h"

namespace zlk::platform {

class FolderWalk final : public Handle {
  public:
    /// Starts at the folder of `pattern`; null with the last error.
    static std::shared_ptr<FolderWalk> start(const WCHAR* pattern);

    /// The next entry; false with the last error.
    bool next(WIN32_FIND_DATAW& entry);

    /// `way`: from the root to the folder.
    FolderWalk(PathRoot root, std::string way, Descriptor folder);

  private:
    /// Where an entry's name and text stand in the two stores: a name costs no memory of its own.
    struct Name {
        std::uint32_t name, text;
        std::uint16_t textLength;
    };
    void readNames();
    void sortNames();
    void leaveOutTwins();
    const Name& foundFirst(std::span<const Name> twins) const;
    void note(DWORD error) noexcept;
    bool describe(const Name& name, WIN32_FIND_DATAW& entry);
    const char* bytesOf(const Name& name) const noexcept { return bytes_.c_str() + name.name; }
    std::u16string_view textOf(const Name& name) const noexcept {
        return std::u16string_view(texts_).substr(name.text, name.textLength);
    }

    const PathRoot root_;
    const std::string way_;
    const Descriptor folder_;
    const bool fat_;
    std::string bytes_;  ///< the names, each with a terminator
    std::u16string texts_;
    std::vector<Name> names_;
    std::size_t position_ = 0;
    unsigned dots_ = 0;  ///< of `.` and `..`, those that have been given
    DWORD error_ = ERROR_NO_MORE_FILES;
};

}  // namespace zlk::platform
