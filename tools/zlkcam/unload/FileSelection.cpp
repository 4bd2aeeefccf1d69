#include "tools/zlkcam/unload/FileSelection.h"

#include <algorithm>

#include "tools/zlkcam/Failure.h"

namespace zlk {
namespace {

bool isDigit(char byte) {
    return byte >= '0' && byte <= '9';
}

/// Parses `2026-11-01`, which `T10:30` or `T10:30:00` may follow.
LocalTime timeArgument(const std::string& text) {
    constexpr std::string_view form = "0000-00-00T00:00:00";
    if (text.size() == 10 || text.size() == 16 || text.size() == form.size()) {
        // What is left out is taken from the form, so that a date alone means its midnight.
        const std::string full = text + std::string(form.substr(text.size()));
        std::string digitsAsZero = full;
        std::ranges::replace_if(digitsAsZero, isDigit, '0');
        const std::optional<LocalTime> time = localTimeIn(full);
        // localTimeIn accepts any separators; here they have to be the documented ones.
        if (time && digitsAsZero == form) return *time;
    }
    throw Failure(ExitStatus::Usage, "\"" + text + "\" is no date to copy files from.",
                  "Give a local date, as in 2026-11-01 or 2026-11-01T10:30:00.");
}

std::vector<GlobPattern> patternsIn(const std::vector<std::string>& texts) {
    return {texts.begin(), texts.end()};
}

/// Adds the types of an argument such as `raw,jpeg`.
void addTypes(std::vector<FileType>& types, std::string_view words) {
    while (true) {
        const std::size_t end = std::min(words.find(','), words.size());
        const std::string_view word = words.substr(0, end);
        const std::optional<FileType> type = fileTypeNamed(word);
        if (!type)
            throw Failure(ExitStatus::Usage,
                          "\"" + std::string(word) + "\" is no type of files to copy.",
                          "There are " + fileTypeWords() + ".");
        types.push_back(*type);
        if (end == words.size()) return;
        words.remove_prefix(end + 1);
    }
}

bool anyMatches(const std::vector<GlobPattern>& patterns, const FileRecord& file) {
    return std::ranges::any_of(
        patterns, [&](const GlobPattern& pattern) { return pattern.matches(file.cameraPath); });
}

}  // namespace

FileSelection::FileSelection(const SelectionOptions& options)
    : only_(patternsIn(options.only)), except_(patternsIn(options.except)) {
    for (const std::string& words : options.types) addTypes(types_, words);
    if (!options.since.empty()) since_ = timeArgument(options.since);
}

bool FileSelection::takes(const FileRecord& file) const {
    const bool isOfType =
        types_.empty() || std::ranges::find(types_, fileTypeOf(file.cameraPath)) != types_.end();
    return isOfType && isLateEnough(file) && (only_.empty() || anyMatches(only_, file)) &&
           !anyMatches(except_, file);
}

bool FileSelection::takesAll() const {
    return only_.empty() && except_.empty() && types_.empty() && !since_;
}

bool FileSelection::isLateEnough(const FileRecord& file) const {
    if (!since_) return true;
    const std::optional<LocalTime> date = changeDate(file);
    return !date || *date >= *since_;
}

}  // namespace zlk
