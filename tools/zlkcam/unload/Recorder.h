#pragma once
// Knows which files of devices a destination has, or had: from the records of earlier runs, the
// journals of killed runs, and this run. A Recorder keeps a journal of this run's copies, from
// which a later run continues if this one is killed. At the end it writes the record of this run,
// if the user wants one.

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

/// An ASC media hash list, a file of sums for `xxhsum -c` or `sha256sum -c`, or no record.
enum class RecordForm { MediaHashList, Sums, None };

/// A copy of a file of the device that a destination has already, or that an earlier run has made
/// there.
struct KnownCopy {
    std::string file;  ///< below the destination
    /// No file of the copy's size can be opened there any more.
    bool isGone = false;
    /// Set for a copy of a killed run only, which had read the file from the device and flushed the
    /// copy. Other copies are only known by name, size and time, and have no sum here.
    std::optional<ContentSum> sum{};
    /// Hexadecimal digits; empty if it wasn't made.
    std::string sha256{};
};

/// One for each destination. Not thread-safe: during the copying only the Settler's thread uses it,
/// for `note`, and before and after the copying one thread at a time.
class Recorder {
  public:
    /// What the user wants recorded, and which earlier copies count.
    struct Options {
        RecordForm form = RecordForm::MediaHashList;
        bool onlyNew = false;      ///< copies of all earlier runs count as known
        bool sha256 = false;       ///< a sums file has SHA-256 instead of XXH128
        bool isRehearsal = false;  ///< nothing is changed in the folder
    };
    /// Takes over the journals of killed runs in the folder; a rehearsal only reads them. `device`
    /// is the device's name for people, `root` the path of its root. `destination` stays the
    /// caller's and outlives this. Throws Failure (Stopped) after a stop.
    Recorder(Destination& destination, std::u16string device, std::u16string root,
             const Options& options);

    /// Finds the copy of a file of the device, which would otherwise be copied to `wanted`. Each
    /// copy is returned for one file only. Called before copying begins, by one thread. Throws
    /// Failure (FileUnusable).
    std::optional<KnownCopy> find(const FileRecord& record, const std::string& wanted);
    /// False if `find` returns none for every file.
    bool knowsAny() const { return options_.onlyNew || !unfinished_.empty(); }

    /// Adds to the journal a copy that is whole, on the disk, and has its name.
    void note(const UnloadedFile& file, const std::string& placed);

    /// Writes the record, in the form of the options, of the copies that `files` have at the
    /// destination with this index, and of those that killed runs have left there. Returns the
    /// record's path below the folder, empty if there is nothing to record or no record is wished.
    /// Throws what writeGeneration and writeSums throw, or Failure (Stopped) after a stop, and
    /// keeps the journal then.
    std::string write(const std::vector<UnloadedFile>& files, std::size_t index);

    /// What couldn't be used of the folder's history.
    const std::vector<FolderHistory::Trouble>& troubles() const { return history_.troubles(); }

  private:
    struct UnfinishedCopy {
        JournalEntry entry;
        bool isCounted = false;  // it already stands for a file of the device
    };
    /// Copies of killed runs by the paths of their originals, which aren't unique on a camera.
    using Unfinished = std::unordered_multimap<std::string, UnfinishedCopy>;
    /// Records of earlier runs by takenKey; they point into `history_`.
    using Taken = std::unordered_multimap<std::string, const HashRecord*>;

    /// The path of a file below the device's root, as journals and manifests have it.
    std::string sourceOf(const FileRecord& record) const;
    void takeOver();
    void takeOver(const JournalEntry& entry);
    void listTaken();
    bool isThere(const std::string& file, std::uint64_t size);
    /// Whether this run's sums file needs a SHA-256 that the entry doesn't have.
    bool lacksSum(const JournalEntry& entry) const;
    /// Makes the SHA-256 of an entry's copy, if that can be read. Throws Failure (Stopped, and what
    /// Destination::openFile throws).
    void addSum(JournalEntry& entry);
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
    // Paths of copies that already stand for a file of the device.
    std::unordered_set<std::string> counted_;
    // The journal is begun with its first line, so that a run that notes nothing needs no folder
    // for it.
    std::optional<Journal> journal_;
};

}  // namespace zlk
