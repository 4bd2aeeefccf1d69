#pragma once
// Which of a device's files a person wants.

#include <optional>
#include <string>
#include <vector>

#include "tools/zlkcam/Documents.h"
#include "tools/zlkcam/unload/FileType.h"
#include "tools/zlkcam/unload/GlobPattern.h"
#include "tools/zlkcam/unload/LocalTime.h"

namespace zlk {

/// As the command line has them.
struct SelectionOptions {
    std::vector<std::string> only{};    ///< patterns, of which one must match
    std::vector<std::string> except{};  ///< patterns, of which none may match
    std::vector<std::string> types{};   ///< words, or several of them between commas
    std::string since{};                ///< a local date, or a date and time
};

class FileSelection {
  public:
    /// Throws Failure (Usage) for what can't be understood.
    explicit FileSelection(const SelectionOptions& options);

    /// A file without a date isn't left behind because a clock was wrong: it counts as later than
    /// any date.
    bool takes(const FileRecord& file) const;
    bool takesAll() const;

  private:
    bool isLateEnough(const FileRecord& file) const;

    std::vector<GlobPattern> only_, except_;
    std::vector<FileType> types_;
    std::optional<LocalTime> since_;
};

}  // namespace zlk
