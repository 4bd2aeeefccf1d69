#pragma once
// Compares the files of a folder, read from their medium if possible, with the sums that were
// recorded of them.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/zlkcam/MediumReader.h"
#include "tools/zlkcam/ProgressBar.h"
#include "tools/zlkcam/history/FolderHistory.h"

namespace zlk {

/// What was found out about one recorded file.
struct CheckedFile {
    enum class Finding { NotReached, Whole, Renamed, Changed, Missing, Unreadable };

    const HashRecord* record = nullptr;
    Finding finding = Finding::NotReached;
    std::uint64_t size = 0;   ///< present size in bytes; 0 if unknown
    bool fromMedium = false;  ///< as in MediumDigest; only for a file that was read
    std::string nowAt{};      ///< where the file lies now, if it was renamed
    std::string reason{};     ///< why it isn't whole; a phrase for "FILE: reason"
};

/// The check of one folder and its results. Used by one thread. While that thread hangs in a
/// DeviceCall, another thread may read the results.
class FolderCheck {
  public:
    /// The references and the open descriptor `folder` stay the caller's and have to outlive this.
    FolderCheck(Tool& tool, int folder, const FolderHistory& history);

    /// Reads and compares everything, or less after a stop. To be called once.
    void run();

    /// All recorded files, sorted by path.
    const std::vector<CheckedFile>& files() const { return files_; }
    bool isStopped() const { return isStopped_; }
    /// The bytes of all readings that have succeeded so far.
    std::uint64_t bytes() const { return bytes_; }

    /// A regular file that the check found in the folder.
    struct FoundFile {
        std::string path;  ///< below the folder, as the file system has it
        std::uint64_t size;
    };
    /// Files that no record names. Renamed files, which `files` has, and files of the history are
    /// left out.
    const std::vector<FoundFile>& newFiles() const { return newFiles_; }

    /// A folder that couldn't be read; files in it may exist without being found.
    struct UnreadFolder {
        std::string path;
        std::string reason;
    };
    const std::vector<UnreadFolder>& unread() const { return unread_; }

  private:
    void checkRecorded();
    void check(CheckedFile& file, ProgressBar& bar);
    void readAndCompare(CheckedFile& file, int opened, ProgressBar& bar);
    void findNew();
    void findNewIn(const std::string& folder, std::vector<std::string>& below);
    void findRenamed();
    /// Takes the files that findRenamed() knew again out of the new ones.
    void dropRenamed();
    std::optional<MediumDigest> readWhole(const std::string& path, DigestKind kind) const;

    const int folder_;
    const FolderHistory& history_;
    Tool& tool_;
    std::vector<CheckedFile> files_;
    std::vector<FoundFile> newFiles_;
    std::vector<UnreadFolder> unread_;
    std::uint64_t bytes_ = 0;
    bool isStopped_ = false;
};

}  // namespace zlk
