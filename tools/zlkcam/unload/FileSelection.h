#pragma once
// Decides which of a device's files are unloaded, by the patterns, types and date that the user
// gave.

#include <optional>
#include <string>
#include <vector>

#include "tools/zlkcam/Documents.h"
#include "tools/zlkcam/unload/FileType.h"
#include "tools/zlkcam/unload/GlobPattern.h"
#include "tools/zlkcam/unload/LocalTime.h"

namespace zlk {

/// The options of the command line, unparsed.
struct SelectionOptions {
    std::vector<std::string> only{};    ///< patterns, of which one must match
    std::vector<std::string> except{};  ///< patterns, of which none may match
    std::vector<std::string> types{};   ///< each a word, or several with commas between them
    std::string since{};                ///< a local date, or a date and time
};

/// The user's choice among the files of a device. Constant once constructed, so any thread may use
/// it.
class FileSelection {
  public:
    /// Throws Failure (Usage) for an option that can't be understood.
    explicit FileSelection(const SelectionOptions& options);

    /// Whether a file is wanted. A file without a plausible date counts as later than any date: a
    /// camera whose clock was wrong must not cost the user a picture.
    bool takes(const FileRecord& file) const;
    bool takesAll() const;

  private:
    bool isLateEnough(const FileRecord& file) const;

    std::vector<GlobPattern> only_, except_;
    std::vector<FileType> types_;
    std::optional<LocalTime> since_;
};

}  // namespace zlk
