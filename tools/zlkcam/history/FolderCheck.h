#pragma once
// Compares the files of a folder, as their medium has them, with what was recorded of them.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/zlkcam/MediumReader.h"
#include "tools/zlkcam/ProgressBar.h"
#include "tools/zlkcam/history/FolderHistory.h"

namespace zlk {

struct CheckedFile {
    enum class Finding { NotReached, Whole, Renamed, Changed, Missing, Unreadable };

    const HashRecord* record = nullptr;
    Finding finding = Finding::NotReached;
    std::uint64_t size = 0;   ///< that it has now
    bool fromMedium = false;  ///< as in MediumDigest; of one that was read
    std::string nowAt{};      ///< where a file lies that was renamed
    std::string reason{};     ///< why it isn't whole; a phrase
};

class FolderCheck {
  public:
    /// All three outlive it; `folder` is an open descriptor.
    FolderCheck(Tool& tool, int folder, const FolderHistory& history);

    /// Does all of it, or less where a stop is wished.
    void run();

    const std::vector<CheckedFile>& files() const { return files_; }
    bool isStopped() const { return isStopped_; }
    /// Bytes that were read.
    std::uint64_t bytes() const { return bytes_; }

    struct FoundFile {
        std::string path;  ///< as the file system has it
        std::uint64_t size;
    };
    /// Files that no record tells of, but for those that were renamed.
    const std::vector<FoundFile>& newFiles() const { return newFiles_; }

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
