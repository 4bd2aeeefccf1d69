#include "tools/zlkcam/CardSurvey.h"

#include <algorithm>

#include "platform/error.h"
#include "platform/files.h"
#include "tools/zlkcam/StopFlag.h"
#include "tools/zlkcam/Text.h"

namespace zlk {
namespace {

// In units. The component lists nothing of a folder with a longer path.
constexpr std::size_t longestPath = 4096;

}  // namespace

CardSurvey::CardSurvey(const std::u16string& root, const std::vector<FileRecord>& files) {
    if (root.empty()) return;
    for (const FileRecord& file : files) listed_.insert(file.id);
    // The root may end with a backslash or not. The walk puts one between a folder and a name.
    std::u16string top = root;
    while (top.ends_with(u'\\')) top.pop_back();
    walk(top);
    listed_ = {};
    if (StopFlag::raised()) throw stoppedEarly();
}

void CardSurvey::walk(const std::u16string& folder) {
    if (folder.size() > longestPath) return unread_.push_back({folder, "Its path is too long"});
    std::vector<std::u16string> below;
    bool isListed = true;
    WIN32_FIND_DATAW entry{};
    // The folder stays open while the ones below it are walked, as in the component. So this walk,
    // too, fails where the component ran out of descriptors.
    const UniqueWalk walked = startWalk(folder + u"\\*.*", entry);
    for (bool more = walked != nullptr; more; more = FindNextFileW(walked.get(), &entry)) {
        if (StopFlag::raised()) return;
        const std::u16string_view name = entry.cFileName;
        std::u16string path = (folder + u'\\').append(name);
        if (entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
            if (name != u"." && name != u"..") below.push_back(std::move(path));
        } else if (entry.dwFileAttributes & FILE_ATTRIBUTE_HIDDEN) {
            ++hiddenFiles_;
        } else {
            isListed = isListed && listed_.contains(path);
        }
    }
    // If the walk ended with any error but the two below, some entries, or all of them, couldn't be
    // read.
    const DWORD error = GetLastError();
    if (error != ERROR_NO_MORE_FILES && error != ERROR_FILE_NOT_FOUND)
        unread_.push_back({folder, reasonText(error)});
    else if (!isListed)
        unread_.push_back({folder, "Some of its files are missing from the card's list"});
    for (const std::u16string& each : below) walk(each);
}

bool CardSurvey::isUncertain(std::u16string_view path) const {
    // The backslash keeps a folder's name from matching the start of a longer name.
    return std::ranges::any_of(unread_, [&](const UnreadFolder& folder) {
        return path.size() > folder.path.size() && path.starts_with(folder.path) &&
               path[folder.path.size()] == u'\\';
    });
}

std::string CardSurvey::UnreadFolder::text() const {
    return utf8Text(path) + " can't be read: " + reason +
           ". Whatever lies there is on the card only.";
}

std::optional<Failure> CardSurvey::tell(Tool& tool) const {
    for (const UnreadFolder& folder : unread_) tool.warn(folder.text());
    if (hiddenFiles_)
        tool.say(std::to_string(hiddenFiles_) +
                 (hiddenFiles_ == 1 ? " hidden file stays" : " hidden files stay") +
                 " on the card.");
    tool.answer.member("hiddenFiles", hiddenFiles_).key("unread").beginArray();
    for (const UnreadFolder& folder : unread_)
        tool.answer.beginObject()
            .member("folder", folder.path)
            .member("reason", folder.reason)
            .endObject();
    tool.answer.endArray();
    if (unread_.empty()) return std::nullopt;
    const std::string others =
        unread_.size() == 1 ? "" : " and " + std::to_string(unread_.size() - 1) + " more";
    return Failure(
        ExitStatus::ReadFailed,
        "The card couldn't be read whole: " + utf8Text(unread_.front().path) + others + ".",
        "Look at what lies there before you erase the card.");
}

}  // namespace zlk
