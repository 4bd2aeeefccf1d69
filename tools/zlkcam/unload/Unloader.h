#pragma once
// Unloads a device in steps: what was planned is copied, proved, recorded, and deleted from the
// device.

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/zlkcam/CardSurvey.h"
#include "tools/zlkcam/Session.h"
#include "tools/zlkcam/unload/Copier.h"
#include "tools/zlkcam/unload/Destination.h"
#include "tools/zlkcam/unload/Recorder.h"
#include "tools/zlkcam/unload/Remover.h"
#include "tools/zlkcam/unload/Settler.h"
#include "tools/zlkcam/unload/UnloadPlan.h"
#include "tools/zlkcam/unload/UnloadProgress.h"
#include "tools/zlkcam/unload/UnloadedFile.h"

namespace zlk {

/// A folder that is copied into, and what is known and said of it.
struct Target {
    std::unique_ptr<Destination> destination;
    std::unique_ptr<Recorder> recorder;
    std::string manifest{};            ///< below the folder; empty: none was written
    std::string report{};              ///< the same of a page for people
    std::optional<Failure> failure{};  ///< why it dropped out, or has no manifest or report
};

class Unloader {
  public:
    /// All but the options stay the caller's.
    Unloader(Tool& tool, const PhotoSession& session, const UnloadPlan& plan,
             std::vector<Target>& targets, const UnloadOptions& options,
             const UnloadProgress::Mode& mode);

    /// Copies and proves.
    void copy();
    /// Writes each destination's manifest, of what was copied before a stop, too, unless that was
    /// done.
    void record();
    /// Deletes from the device what is proved and recorded everywhere.
    void remove(const CardSurvey& survey);
    /// Puts everything in order while `copy` doesn't come to its end; only `record` and the results
    /// may be used afterwards.
    void abandon();

    const std::vector<UnloadedFile>& files() const { return files_; }
    /// Why the files that weren't reached weren't, or weren't deleted.
    const std::optional<Failure>& ending() const { return ending_; }
    /// The gravest of what went wrong.
    std::optional<Failure> gravest() const;

  private:
    const PhotoSession& session_;
    std::vector<Target>& targets_;
    const UnloadOptions options_;
    std::vector<UnloadedFile> files_;
    UnloadProgress progress_;
    Copier::Settlers settlers_;
    Copier copier_;
    std::optional<Failure> ending_;
    bool isRecorded_ = false;
};

/// Of targets, in their order.
std::vector<const Destination*> destinationsOf(const std::vector<Target>& targets);

}  // namespace zlk
