#include "tools/zlkcam/history/FolderCheck.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <numeric>
#include <set>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "platform/descriptor.h"
#include "platform/text.h"
#include "tools/zlkcam/StopFlag.h"
#include "tools/zlkcam/history/HistoryFile.h"

namespace zlk {
namespace {

using Finding = CheckedFile::Finding;

/// The recorded sum to compare with. Fast kinds come first, and of these the one with the most
/// bits. Null if there is no sum.
const Digest* sumToCompare(const HashRecord& record) {
    for (const DigestKind kind : {DigestKind::Xxh128, DigestKind::Xxh3, DigestKind::Xxh64,
                                  DigestKind::Md5, DigestKind::Sha1, DigestKind::Sha256})
        if (const Digest* const sum = record.sum(kind)) return sum;
    return record.sum(DigestKind::C4);
}

/// Opens without waiting for a writer of a pipe or for a device. A link is followed: the user may
/// have moved the file elsewhere and left a link.
Descriptor openToRead(int folder, const std::string& path) {
    return Descriptor(::openat(folder, path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
}

/// Whether an entry isn't the user's: `.` and `..`, the `.DS_Store` of a file manager, what our
/// runs keep under hidden names, and the files of a history.
bool isIgnored(std::string_view name) {
    return name == "." || name == ".." || name == ".DS_Store" || name.starts_with(".zlkcam-") ||
           isHistoryName(name);
}

struct Entry {
    std::string name;
    bool isFolder;
    std::uint64_t size;
};

/// The files and folders in a folder, sorted by name. Left out are ignored entries, links, other
/// kinds of entries, and what can't be looked at; after a stop the list may be incomplete. Throws
/// UnusableFile if the folder can't be read.
std::vector<Entry> entriesOf(int root, const std::string& path) {
    // A folder may lie on a network drive that doesn't answer.
    const DeviceCall call;
    const Descriptor folder(::openat(root, path.empty() ? "." : path.c_str(),
                                     O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder) throw UnusableFile(std::strerror(errno));
    std::vector<Entry> entries;
    for (std::string& name : namesIn(folder.get())) {
        if (StopFlag::raised()) break;
        struct stat status {};
        if (isIgnored(name) ||
            ::fstatat(folder.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0)
            continue;
        const bool isFolder = S_ISDIR(status.st_mode);
        if (isFolder || S_ISREG(status.st_mode))
            entries.push_back(
                {std::move(name), isFolder, static_cast<std::uint64_t>(status.st_size)});
    }
    std::ranges::sort(entries, {}, &Entry::name);
    return entries;
}

/// How many bytes each file will take to read, for the progress bar. For a record without a size,
/// such as one from a sums file, the file's present size stands in. Throws Failure after a stop.
std::vector<std::uint64_t> expectedSizes(int folder, const std::vector<CheckedFile>& files) {
    std::vector<std::uint64_t> sizes;
    sizes.reserve(files.size());
    for (const CheckedFile& file : files) {
        if (StopFlag::raised()) throw stoppedEarly();
        const DeviceCall call;
        struct stat status {};
        if (!file.record->size) ::fstatat(folder, file.record->path.c_str(), &status, 0);
        sizes.push_back(file.record->size.value_or(static_cast<std::uint64_t>(status.st_size)));
    }
    return sizes;
}

std::string keyOf(const Digest& digest) {
    return std::string(digestName(digest.kind)) + ' ' + digest.text();
}

/// Index of the missing files by what they held. It is needed because a renamed folder makes all
/// its files missing, and as many unknown files appear: 100,000 frames of the same size can't be
/// compared pair by pair.
class MissingFiles {
  public:
    explicit MissingFiles(std::vector<CheckedFile>& files) {
        for (CheckedFile& file : files)
            if (file.finding == Finding::Missing) add(file);
    }

    bool isEmpty() const { return byContent_.empty(); }
    const std::set<DigestKind>& kinds() const { return kinds_; }
    /// Whether a file of this size may be one of the missing ones. Files of other sizes needn't be
    /// read.
    bool mayBe(std::uint64_t size) const { return isAnySize_ || sizes_.contains(size); }
    /// Takes a missing file that had this content out of the index; null if there is none.
    CheckedFile* take(const Digest& digest) {
        const auto found = byContent_.find(keyOf(digest));
        if (found == byContent_.end()) return nullptr;
        CheckedFile* const file = found->second;
        byContent_.erase(found);
        return file;
    }

  private:
    void add(CheckedFile& file) {
        const Digest* const sum = sumToCompare(*file.record);
        if (!sum) return;
        byContent_.emplace(keyOf(*sum), &file);
        kinds_.insert(sum->kind);
        // A record without a size could belong to any file.
        if (file.record->size)
            sizes_.insert(*file.record->size);
        else
            isAnySize_ = true;
    }

    std::unordered_multimap<std::string, CheckedFile*> byContent_;
    std::set<DigestKind> kinds_;
    std::unordered_set<std::uint64_t> sizes_;
    bool isAnySize_ = false;
};

}  // namespace

FolderCheck::FolderCheck(Tool& tool, int folder, const FolderHistory& history)
    : folder_(folder), history_(history), tool_(tool) {
    files_.reserve(history.records().size());
    for (const HashRecord& record : history.records()) files_.emplace_back().record = &record;
}

void FolderCheck::run() {
    try {
        // Renamed files are looked for last: this needs both the missing and the unknown ones.
        checkRecorded();
        findNew();
        findRenamed();
    } catch (const Failure&) {
        // Only a stop throws a Failure here.
        isStopped_ = true;
    }
    dropRenamed();
}

void FolderCheck::checkRecorded() {
    const std::vector<std::uint64_t> sizes = expectedSizes(folder_, files_);
    ProgressBar bar(tool_, files_.size(),
                    std::accumulate(sizes.begin(), sizes.end(), std::uint64_t{0}));
    for (std::size_t i = 0; i < files_.size(); ++i) {
        if (StopFlag::raised()) throw stoppedEarly();
        CheckedFile& file = files_[i];
        bar.startFile(wideText(file.record->path), sizes[i]);
        check(file, bar);
        bar.endFile();
        // A missing file may turn up under another name, so it isn't reported yet.
        if (file.finding == Finding::Missing) continue;
        const bool isWhole = file.finding == Finding::Whole;
        bar.report(file.record->path + (isWhole ? " is whole" : ": " + file.reason), !isWhole);
    }
}

void FolderCheck::check(CheckedFile& file, ProgressBar& bar) {
    const auto found = [&](Finding finding, std::string reason) {
        file.finding = finding;
        file.reason = std::move(reason);
    };
    struct stat status {};
    const Descriptor opened = [&] {
        const DeviceCall call;
        Descriptor descriptor = openToRead(folder_, file.record->path);
        if (descriptor && ::fstat(descriptor.get(), &status) != 0) descriptor = Descriptor();
        return descriptor;
    }();
    if (!opened && (errno == ENOENT || errno == ENOTDIR))
        return found(Finding::Missing, "it is missing");
    if (!opened) return found(Finding::Unreadable, std::strerror(errno));
    if (!S_ISREG(status.st_mode)) return found(Finding::Changed, "it is no file any more");
    file.size = static_cast<std::uint64_t>(status.st_size);
    if (file.record->size && *file.record->size != file.size)
        return found(Finding::Changed, "it has " + std::to_string(file.size) + " bytes, and had " +
                                           std::to_string(*file.record->size));
    readAndCompare(file, opened.get(), bar);
}

void FolderCheck::readAndCompare(CheckedFile& file, int opened, ProgressBar& bar) {
    const Digest* const recorded = sumToCompare(*file.record);
    if (!recorded) {
        file.finding = Finding::Changed;
        file.reason = "it was found damaged before, and no sum tells what it should be";
        return;
    }
    const std::optional<MediumDigest> read = [&] {
        const DeviceCall call;
        // An empty file counts as one byte, for the progress to have a number to divide by.
        const std::uint64_t size = std::max<std::uint64_t>(file.size, 1);
        return digestFromMedium(opened, recorded->kind, [&](std::uint64_t done) {
            bar.progress(static_cast<int>(std::min(done, size) * 100 / size));
        });
    }();
    if (!read) {
        file.finding = Finding::Unreadable;
        file.reason = std::strerror(errno);
        return;
    }
    bytes_ += read->size;
    file.size = read->size;
    file.fromMedium = read->isFromMedium;
    file.finding = read->digest == *recorded ? Finding::Whole : Finding::Changed;
    if (file.finding == Finding::Changed)
        file.reason = "its " + keyOf(read->digest) + " was " + recorded->text();
}

void FolderCheck::findNew() {
    // The walk goes depth first, in the order of names, so `below` is pushed in reverse.
    std::vector<std::string> folders{{}};
    while (!folders.empty()) {
        if (StopFlag::raised()) throw stoppedEarly();
        const std::string folder = std::move(folders.back());
        folders.pop_back();
        std::vector<std::string> below;
        try {
            // An unreadable folder is noted, and the others are searched all the same.
            findNewIn(folder, below);
        } catch (const UnusableFile& unreadable) {
            unread_.push_back({folder, unreadable.what()});
        }
        std::ranges::move(below.rbegin(), below.rend(), std::back_inserter(folders));
    }
}

void FolderCheck::findNewIn(const std::string& folder, std::vector<std::string>& below) {
    for (const Entry& entry : entriesOf(folder_, folder)) {
        std::string path = folder.empty() ? entry.name : folder + '/' + entry.name;
        if (entry.isFolder)
            below.push_back(std::move(path));
        else if (!history_.find(path))
            newFiles_.push_back({std::move(path), entry.size});
    }
}

void FolderCheck::findRenamed() {
    MissingFiles missing(files_);
    if (missing.isEmpty()) return;
    if (tool_.onTerminal()) tool_.say("Looking for files that were renamed...");
    for (const FoundFile& found : newFiles_) {
        // Only a file whose size fits is read; each kind of sum needs another reading.
        if (!missing.mayBe(found.size)) continue;
        for (const DigestKind kind : missing.kinds()) {
            const std::optional<MediumDigest> read = readWhole(found.path, kind);
            CheckedFile* const file = read ? missing.take(read->digest) : nullptr;
            if (read) bytes_ += read->size;
            if (!file) continue;
            file->finding = Finding::Renamed;
            file->size = read->size;
            file->fromMedium = read->isFromMedium;
            file->nowAt = found.path;
            break;
        }
    }
}

void FolderCheck::dropRenamed() {
    std::unordered_set<std::string_view> renamed;
    for (const CheckedFile& file : files_)
        if (file.finding == Finding::Renamed) renamed.insert(file.nowAt);
    std::erase_if(newFiles_, [&](const FoundFile& found) { return renamed.contains(found.path); });
}

std::optional<MediumDigest> FolderCheck::readWhole(const std::string& path, DigestKind kind) const {
    const DeviceCall call;
    const Descriptor file = openToRead(folder_, path);
    return file ? digestFromMedium(file.get(), kind) : std::nullopt;
}

}  // namespace zlk
