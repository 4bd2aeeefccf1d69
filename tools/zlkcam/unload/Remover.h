#pragma once
// Deletes from the device what was copied, but nothing of which the least is uncertain.

#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "tools/zlkcam/CardSurvey.h"
#include "tools/zlkcam/Session.h"
#include "tools/zlkcam/unload/UnloadedFile.h"

namespace zlk {

class Remover {
  public:
    /// `survey` tells folders that couldn't be read to their ends, of which nothing is deleted.
    Remover(const PhotoSession& session, const CardSurvey& survey, const UnloadOptions& options);

    /// Deletes what was proved at every destination and hasn't changed since, and nothing after a
    /// stop. What ended it, if anything did.
    std::optional<Failure> remove(std::vector<UnloadedFile>& files) const;

  private:
    using Listed = std::unordered_map<std::u16string, FileRecord>;

    bool mayBeDeleted(const UnloadedFile& file) const;
    void requireUnchanged(const UnloadedFile& file, const Listed* listed) const;

    const PhotoSession& session_;
    const CardSurvey& survey_;
    const UnloadOptions options_;
};

}  // namespace zlk
