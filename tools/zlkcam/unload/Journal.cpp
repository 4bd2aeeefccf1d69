#include "tools/zlkcam/unload/Journal.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <charconv>
#include <string_view>

#include "tools/zlkcam/history/Digest.h"

namespace zlk {
namespace {

constexpr char name[] = "journal";
// Stands in a line for a SHA-256 that wasn't made.
constexpr char noSum[] = "-";
// A journal of a million files, with some 200 bytes a line, is smaller than this.
constexpr off_t longest = off_t{1} << 30;

/// Takes a number, and the tab after it, from the start of a line; false if one of the two is
/// missing.
template <class Number>
bool take(std::string_view& line, Number& number) {
    const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), number);
    const auto length = static_cast<std::size_t>(end - line.data());
    if (error != std::errc() || length >= line.size() || line[length] != '\t') return false;
    line.remove_prefix(length + 1);
    return true;
}

bool take(std::string_view& line, std::string& text) {
    const std::size_t tab = line.find('\t');
    if (tab == line.npos) return false;
    text = line.substr(0, tab);
    line.remove_prefix(tab + 1);
    return true;
}

/// Fields of a line: XXH128, SHA-256, size, time, copy, source. The source is last and ends the
/// line.
std::optional<JournalEntry> parse(std::string_view line) {
    JournalEntry entry;
    std::string sum;
    if (!take(line, sum) || !take(line, entry.sha256) || !take(line, entry.size) ||
        !take(line, entry.modified) || !take(line, entry.file) || line.empty())
        return std::nullopt;
    const std::optional<Digest> parsed = Digest::parse(DigestKind::Xxh128, sum);
    if (!parsed) return std::nullopt;
    entry.sum = parsed->contentSum();
    entry.source = line;
    if (entry.sha256 == noSum) entry.sha256.clear();
    return entry;
}

/// Whether a text can be a field, which is never empty and has no tab or line end.
bool isOneField(std::string_view text) {
    return !text.empty() && text.find_first_of("\t\n") == text.npos;
}

}  // namespace

Journal::Journal(int runFolder)
    : file_(::openat(runFolder, name, O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_CLOEXEC,
                     0600)) {}

void Journal::add(const JournalEntry& entry) {
    if (!file_ || !isOneField(entry.source) || !isOneField(entry.file)) return;
    const std::string line = sumText(entry.sum) + '\t' +
                             (entry.sha256.empty() ? noSum : entry.sha256) + '\t' +
                             std::to_string(entry.size) + '\t' + std::to_string(entry.modified) +
                             '\t' + entry.file + '\t' + entry.source + '\n';
    // If only a part of a line could be written, the next line would be appended to it and be
    // spoilt. So the journal ends here.
    if (::write(file_.get(), line.data(), line.size()) != static_cast<ssize_t>(line.size()))
        file_ = Descriptor();
}

std::vector<JournalEntry> Journal::read(int runFolder) {
    std::vector<JournalEntry> entries;
    // O_NOFOLLOW and the check of the type are needed because the folder may lie where others can
    // write.
    const Descriptor file(
        ::openat(runFolder, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return entries;
    std::string text(static_cast<std::size_t>(std::min(status.st_size, longest)), '\0');
    const ssize_t size = ::pread(file.get(), text.data(), text.size(), 0);
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    for (std::string_view rest = text;;) {
        const std::size_t end = rest.find('\n');
        // After a power cut the end of the file may hold zeros or half a line. The entries before
        // it are good.
        std::optional<JournalEntry> entry =
            end == rest.npos ? std::nullopt : parse(rest.substr(0, end));
        if (!entry) return entries;
        entries.push_back(std::move(*entry));
        rest.remove_prefix(end + 1);
    }
}

}  // namespace zlk
