#include "tools/zlkcam/history/FolderHistory.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unordered_set>
#include <utility>

#include "platform/descriptor.h"
#include "tools/zlkcam/StopFlag.h"
#include "tools/zlkcam/history/ChainFile.h"
#include "tools/zlkcam/history/HistoryFile.h"
#include "tools/zlkcam/history/HistoryNames.h"
#include "tools/zlkcam/history/ManifestReader.h"
#include "tools/zlkcam/history/RecordMerge.h"
#include "tools/zlkcam/history/SumsFile.h"

namespace zlk {
namespace {

/// A manifest or sums file by its name; both come in one list to be read in order.
struct RunFile {
    std::string name;
    std::string_view date() const { return dateInName(name); }
    bool isManifest() const { return generationNumber(name).has_value(); }
    /// The path below the folder.
    std::string path() const {
        return isManifest() ? std::string(historyFolder) + '/' + name : name;
    }
};

/// A source that lets the user stop the reading of a long file.
ByteSource stoppable(HistoryFile& file) {
    return [&file](std::span<char> room) {
        if (StopFlag::raised()) throw stoppedEarly();
        return file.read(room);
    };
}

}  // namespace

class FolderHistory::Reader {
  public:
    Reader(FolderHistory& history, int folder) : history_(history), folder_(folder) {}

    void read() {
        // An unusable file is noted and left out as a whole; the others still count.
        for (const RunFile& file : files()) {
            try {
                readRun(file);
            } catch (const UnusableFile& unusable) {
                note(file.path(), unusable);
            }
        }
        history_.records_ = merge_.take();
    }

  private:
    void note(std::string file, const UnusableFile& unusable) {
        history_.troubles_.push_back({std::move(file), unusable.what()});
    }

    /// All manifests and sums files, the oldest first: manifests by their numbers, and sums files
    /// in between by the dates in their names.
    std::vector<RunFile> files();
    // Manifests, sorted by their numbers. Also reads the chain file.
    std::vector<RunFile> manifests();
    // Sums files, sorted by their dates.
    std::vector<RunFile> sumsFiles();
    // Reads the chain file. A chain file that can't be used is noted, and so is each manifest that
    // it lists and that isn't among `names`.
    void readChain(const std::unordered_set<std::string>& names);

    void readRun(const RunFile& file);
    RunContent readManifestFile(const std::string& name) const;

    FolderHistory& history_;
    const int folder_;
    Descriptor manifestFolder_;
    // None if there is no folder `ascmhl`, or if the folder or its chain file can't be used.
    std::optional<ChainFile> chain_;
    RecordMerge merge_;
};

std::vector<RunFile> FolderHistory::Reader::files() {
    const std::vector<RunFile> lists = manifests(), sums = sumsFiles();
    std::vector<RunFile> all;
    auto sum = sums.begin();
    // A merge: manifests are only ordered by their numbers, so a sums file is put before the first
    // manifest that is younger.
    for (const RunFile& list : lists) {
        while (sum != sums.end() && sum->date() < list.date()) all.push_back(*sum++);
        all.push_back(list);
    }
    all.insert(all.end(), sum, sums.end());
    return all;
}

std::vector<RunFile> FolderHistory::Reader::manifests() {
    const std::string folder(historyFolder), inFolder = folder + '/';
    std::vector<RunFile> files;
    manifestFolder_ = Descriptor(
        ::openat(folder_, folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!manifestFolder_ && errno == ENOENT) return files;
    std::unordered_set<std::string> names;
    try {
        // The history is there, but can't be read: its name is that of a file or link, for
        // instance, or we have no rights.
        if (!manifestFolder_)
            throw UnusableFile(std::string("it can't be read (") + std::strerror(errno) + ")");
        for (std::string& each : namesIn(manifestFolder_.get())) names.insert(std::move(each));
    } catch (const UnusableFile& unusable) {
        note(folder, unusable);
        return files;
    }
    for (const std::string& each : names) {
        // A file with the suffix but without a number was probably meant as a manifest, so it is
        // reported.
        if (generationNumber(each))
            files.push_back({each});
        else if (each.ends_with(manifestSuffix) && !each.starts_with('.'))
            note(inFolder + each, UnusableFile("its name has no number"));
    }
    std::ranges::sort(files, {}, [](const RunFile& file) {
        return std::pair(*generationNumber(file.name), std::string_view(file.name));
    });
    readChain(names);
    return files;
}

void FolderHistory::Reader::readChain(const std::unordered_set<std::string>& names) {
    const std::string folder = std::string(historyFolder) + '/';
    try {
        chain_ = ChainFile::read(manifestFolder_.get());
    } catch (const UnusableFile& unusable) {
        return note(folder + chainName, unusable);
    }
    for (const ChainFile::Entry& entry : chain_->entries())
        if (!names.contains(entry.manifest))
            note(folder + entry.manifest,
                 UnusableFile("the chain file names it, and it isn't there"));
}

std::vector<RunFile> FolderHistory::Reader::sumsFiles() {
    std::vector<RunFile> files;
    try {
        for (std::string& each : namesIn(folder_))
            if (sumsFileKind(each)) files.push_back({std::move(each)});
    } catch (const UnusableFile& unusable) {
        note(".", unusable);
    }
    std::ranges::sort(files, {}, [](const RunFile& file) {
        return std::pair(file.date(), std::string_view(file.name));
    });
    return files;
}

void FolderHistory::Reader::readRun(const RunFile& file) {
    RunContent content;
    if (file.isManifest()) {
        content = readManifestFile(file.name);
    } else {
        HistoryFile sums(folder_, file.name);
        content = readSums(stoppable(sums), *sumsFileKind(file.name));
    }
    std::string device = std::move(content.device);
    // The run's number is its index in `runs_`, to which it is added only if the merge succeeds.
    merge_.add(std::move(content), static_cast<std::uint32_t>(history_.runs_.size()));
    history_.runs_.push_back({file.path(), std::move(device)});
}

RunContent FolderHistory::Reader::readManifestFile(const std::string& name) const {
    HistoryFile file(manifestFolder_.get(), name);
    const ChainFile::Entry* const line = chain_ ? chain_->find(name) : nullptr;
    const Digest* const expected = line && line->sum ? &*line->sum : nullptr;
    // The sum is computed while the manifest is parsed, so that it is the sum of the very bytes
    // that were parsed.
    if (expected) file.sumUp(expected->kind);
    RunContent content = readManifest(stoppable(file));
    if (expected && file.digest() != *expected)
        throw UnusableFile("its sum isn't the one that the chain file has");
    return content;
}

FolderHistory FolderHistory::read(int folder) {
    FolderHistory history;
    Reader(history, folder).read();
    return history;
}

const HashRecord* FolderHistory::find(std::string_view path) const {
    return findRecord(records_, path);
}

}  // namespace zlk
