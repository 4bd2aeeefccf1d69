#pragma once
// Copies the files of a claimed device into a folder, one by one, and keeps book of each.

#include <future>
#include <optional>
#include <string>
#include <vector>

#include "tools/zlkcam/CardSurvey.h"
#include "tools/zlkcam/ContentSum.h"
#include "tools/zlkcam/CopySink.h"
#include "tools/zlkcam/ProgressBar.h"
#include "tools/zlkcam/ProgressCallback.h"
#include "tools/zlkcam/Session.h"
#include "tools/zlkcam/TargetFolder.h"

namespace zlk {

struct UnloadOptions {
    bool onlyNew = false;  ///< skip what the folder has with this name, size and time
    bool prove = false;    ///< read each copy back from its disk, and compare the sums
    bool verify = false;   ///< have the device give each file a second time, and compare the sums
    bool remove = false;   ///< delete from the device what was proved, and verified if asked for
    bool flat = false;     ///< no subfolders
};

/// What became of one file.
struct UnloadedFile {
    enum class Outcome { Copied, WasThere, Skipped, TooLarge, Failed, NotReached };

    const FileRecord* record = nullptr;
    Outcome outcome = Outcome::NotReached;
    std::uint64_t size = 0;         ///< as the device really has it
    std::int64_t modified = -1;     ///< seconds since 1970 UTC; -1: it doesn't say
    std::u16string file;            ///< where it lies, for the first three
    std::optional<ContentSum> sum;  ///< of what the device gave
    bool proved = false;            ///< the copy was read back and has this sum
    bool fromMedium = false;        ///< and that from its disk
    bool verified = false;          ///< the device gave the same twice
    bool deleted = false;
    std::optional<Failure> failure;  ///< of the copy, or of the deletion
};

class Unloader {
  public:
    /// `root` is how the device is reached: what of a file's path lies below it is kept.
    Unloader(Tool& tool, const PhotoSession& session, std::u16string root, TargetFolder& target,
             const UnloadOptions& options);

    /// Goes on after a failed file, unless nothing more can be copied: the device is gone, the
    /// target is full, or the user wants it to stop.
    void copy(const std::vector<FileRecord>& records);
    /// Deletes from the device what is proved, and verified if that was asked for, but nothing of
    /// folders that couldn't be read to their ends, and nothing after a stop.
    void removeProved(const CardSurvey& survey);
    /// Puts everything in order while a call into the device doesn't come to its end; nothing of
    /// this may be called afterwards but the results.
    void abandon();

    const std::vector<UnloadedFile>& files() const { return files_; }
    /// Why the files that weren't reached weren't.
    const std::optional<Failure>& ending() const { return ending_; }

  private:
    /// A copy that has arrived under its hidden name. It gets its own name, which takes the disk's
    /// time, while the next one comes.
    struct Arrived {
        UnloadedFile& file;
        std::u16string hidden;  // its name, which `part` has until it is moved
        HiddenFile part;
        std::future<void> named;
    };
    void copyFile(UnloadedFile& file, ProgressBar& bar);
    /// Moves a copy to its name once its bytes are on the disk; from a thread of its own.
    void name(UnloadedFile& file, HiddenFile& part, const std::u16string& wanted) const;
    /// Waits for the copy that arrived last.
    void awaitName(ProgressBar& bar);
    void takeName();
    void report(const UnloadedFile& file, ProgressBar& bar) const;
    /// What share of the bar a transfer fills: percent of percent, from `start` on.
    struct BarShare {
        ProgressBar& bar;
        int start, size;
    };
    /// What one can be told about a file that the device can't open, without its long patience.
    static void requireReadable(const FileRecord& record);
    /// Has the device give a file to `into`.
    void fetch(const UnloadedFile& file, CopySink& into, BarShare share);
    void save(const UnloadedFile& file, CopySink& into, ProgressCallback& progress);
    /// For what has more bytes than a component counts: the device is claimed, and the file lies at
    /// a path.
    void readByPath(const UnloadedFile& file, CopySink& into, ProgressCallback& progress);
    void verify(const UnloadedFile& file, BarShare share);
    /// Reads back what lies at a path of this machine.
    static void prove(UnloadedFile& file, const std::string& path);
    [[noreturn]] void throwFetchFailure(LONG code);
    [[noreturn]] void throwWriteFailure(DWORD error);
    bool mayBeDeleted(const UnloadedFile& file) const;
    void noteFailure(UnloadedFile& file, const Failure& failure);

    Tool& tool_;
    const PhotoSession& session_;
    const std::u16string root_;
    TargetFolder& target_;
    const UnloadOptions options_;
    std::vector<UnloadedFile> files_;
    std::optional<Arrived> arrived_;
    UnloadedFile* inHand_ = nullptr;
    std::optional<Failure> ending_;
};

/// The path of a file below the device's root, for naming its copy.
std::u16string pathBelow(std::u16string_view root, const FileRecord& record);

}  // namespace zlk
