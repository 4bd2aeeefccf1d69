#pragma once
// Finds out what the list of a card's files leaves out. The component counts a folder that it can't
// read as empty, and skips hidden files. A user who wipes the card after a copy has to know what
// was left out.

#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "tools/zlkcam/Documents.h"
#include "tools/zlkcam/Failure.h"
#include "tools/zlkcam/Tool.h"

namespace zlk {

/// The hidden files of a card and the folders that aren't listed whole, found by one walk in the
/// constructor.
class CardSurvey {
  public:
    /// A folder that couldn't be read whole, or whose files, apart from hidden ones, aren't all in
    /// the component's list.
    struct UnreadFolder {
        std::u16string path;
        std::string reason;

        /// A warning for people.
        std::string text() const;
    };
    /// Walks the folder `root`, which is the root of a card's drive or share, and all folders below
    /// it. Nothing is walked if `root` is empty, as for a camera. `files` is what the component has
    /// listed. Throws Failure (Stopped) after a stop.
    CardSurvey(const std::u16string& root, const std::vector<FileRecord>& files);

    /// Whether a file lies below one of the unread folders.
    bool isUncertain(std::u16string_view path) const;

    /// Tells the user what isn't listed, and adds it to the JSON object that is open in
    /// `tool.answer`. Returns the failure of the command if there are unread folders.
    std::optional<Failure> tell(Tool& tool) const;

    const std::vector<UnreadFolder>& unread() const { return unread_; }
    std::size_t hiddenFiles() const { return hiddenFiles_; }

  private:
    void walk(const std::u16string& folder);

    std::unordered_set<std::u16string_view> listed_;  // ids; only valid during the walk
    std::vector<UnreadFolder> unread_;
    std::size_t hiddenFiles_ = 0;
};

}  // namespace zlk
