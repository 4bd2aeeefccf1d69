#pragma once
// Deletes files from the device: only such as are proved in every destination and haven't changed
// on the device since they were copied.

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "tools/zlkcam/CardSurvey.h"
#include "tools/zlkcam/Session.h"
#include "tools/zlkcam/unload/UnloadedFile.h"

namespace zlk {

/// Used once, by the thread that holds the device. The caller makes sure that the records which the
/// user wants are written before.
class Remover {
  public:
    /// `survey` knows the folders that couldn't be read to their ends; nothing in them is deleted.
    /// `session` and `survey` stay the caller's.
    Remover(const PhotoSession& session, const CardSurvey& survey, const UnloadOptions& options);

    /// Deletes the files that mayBeDeleted() accepts and that haven't changed since, and nothing
    /// after a stop. Sets `deleted` or `failure` of each file that it tries. Returns what ended it
    /// early, if anything did.
    std::optional<Failure> remove(std::vector<UnloadedFile>& files) const;

  private:
    /// The camera's list as it is now, by id.
    using Listed = std::unordered_map<std::u16string, FileRecord>;

    bool mayBeDeleted(const UnloadedFile& file) const;
    /// Throws Failure if the file has changed since it was copied; `listed` is null for a volume.
    void requireUnchanged(const UnloadedFile& file, const Listed* listed) const;

    const PhotoSession& session_;
    const CardSurvey& survey_;
    const UnloadOptions options_;
};

}  // namespace zlk
