#pragma once
// What a list of a card's files keeps quiet about. To the component a folder that can't be read
// holds nothing; a user who wipes the card after a copy has to know of it.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/zlkcam/Failure.h"
#include "tools/zlkcam/Tool.h"

namespace zlk {

class CardSurvey {
  public:
    struct UnreadFolder {
        std::u16string path;
        std::string reason;

        /// For people.
        std::string text() const;
    };
    /// Walks all folders below `root`, the drive or share as which a card is reached; empty for a
    /// device that isn't one, of which there is nothing to find out.
    explicit CardSurvey(const std::u16string& root);

    /// Whether a file lies in a folder that couldn't be read to its end.
    bool isUncertain(std::u16string_view path) const;

    /// Names what isn't listed, also in the answer's object that is under way, and gives what the
    /// command has failed with where folders couldn't be read.
    std::optional<Failure> tell(Tool& tool) const;

    const std::vector<UnreadFolder>& unread() const { return unread_; }
    std::size_t hiddenFiles() const { return hiddenFiles_; }

  private:
    void walk(const std::u16string& folder);

    std::vector<UnreadFolder> unread_;
    std::size_t hiddenFiles_ = 0;
};

}  // namespace zlk
