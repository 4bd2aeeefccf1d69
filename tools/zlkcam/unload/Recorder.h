#pragma once
// What a destination knows of the files that were taken from devices: the manifests of earlier
// runs, what a run that was killed had come to, and what this one does. It writes this run's
// manifest, and until then a journal, by which the next run goes on where a killed one stopped.

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "tools/zlkcam/history/FolderHistory.h"
#include "tools/zlkcam/unload/Destination.h"
#include "tools/zlkcam/unload/Journal.h"
#include "tools/zlkcam/unload/SourceFile.h"
#include "tools/zlkcam/unload/UnloadedFile.h"

namespace zlk {

enum class RecordForm { MediaHashList, Sums, None };

/// A copy that is there already.
struct KnownCopy {
    std::string file;     ///< below the destination
    bool isGone = false;  ///< it was there: somebody has moved, renamed or deleted it since
    /// Of a run that didn't come to its end, which read the file from the device and flushed the
    /// copy. Others are known by name, size and time only.
    std::optional<ContentSum> sum{};
    std::string sha256{};
};

class Recorder {
  public:
    struct Options {
        RecordForm form = RecordForm::MediaHashList;
        bool onlyNew = false;      ///< what earlier runs took counts as known
        bool sha256 = false;       ///< that sum counts, too
        bool isRehearsal = false;  ///< nothing is changed in the folder
    };
    /// Takes over what killed runs have left in the folder. `device` is its name for people, `root`
    /// how it is reached. Throws Failure (FileUnusable).
    Recorder(Destination& destination, std::u16string device, std::u16string root,
             const Options& options);

    /// The copy of a file of the device, which would lie at `wanted`; each copy stands for one file
    /// only.
    std::optional<KnownCopy> find(const FileRecord& record, const std::string& wanted);
    /// Whether it may find any.
    bool knowsAny() const { return options_.onlyNew || !unfinished_.empty(); }

    /// Notes down in the journal that a copy is whole, on the disk and has its name.
    void note(const UnloadedFile& file, const std::string& placed);

    /// Writes the manifest of all that `files` have come to at destination `index`, and gives its
    /// path below the folder, empty if there is nothing to record. Throws Failure (FileUnusable);
    /// the journal stays then.
    std::string write(const std::vector<UnloadedFile>& files, std::size_t index);

    /// Manifests that can't be used.
    const std::vector<FolderHistory::Trouble>& troubles() const { return history_.troubles(); }

  private:
    struct UnfinishedCopy {
        JournalEntry entry;
        bool isCounted = false;  // stands for a file of the device
    };
    /// Copies of killed runs, by their paths on the device, which aren't unique on a camera.
    using Unfinished = std::unordered_multimap<std::string, UnfinishedCopy>;
    /// Records of earlier runs, by name and size.
    using Taken = std::unordered_multimap<std::string, const HashRecord*>;

    std::string sourceOf(const FileRecord& record) const;
    void takeOver();
    void takeOver(const JournalEntry& entry);
    void listTaken();
    bool isThere(const std::string& file, std::uint64_t size);
    void addToJournal(const JournalEntry& entry);
    std::optional<KnownCopy> findUnfinished(const std::string& source, const SourceState& state);
    std::string findTaken(const std::string& source, const SourceState& state);
    std::vector<HashRecord> records(const std::vector<UnloadedFile>& files, std::size_t index);
    HashRecord recordOf(const JournalEntry& entry) const;

    Destination& destination_;
    const std::u16string device_, root_;
    const Options options_;
    FolderHistory history_;
    Unfinished unfinished_;
    Taken taken_;
    std::unordered_set<std::string> counted_;  // copies that stand for a file of the device
    std::optional<Journal> journal_;
};

}  // namespace zlk
