#pragma once
// Carries out an unloading in its steps: copying the planned files, with proofs if they are wished,
// recording the copies, and deleting the originals if that is wished.

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

/// A folder that is copied into, with its history and the results of the run.
struct Target {
    std::unique_ptr<Destination> destination;
    std::unique_ptr<Recorder> recorder;
    std::string manifest{};            ///< path below the folder; empty: none was written
    std::string report{};              ///< path of the report page; empty: none was written
    std::optional<Failure> failure{};  ///< why it was given up, or has no manifest or report
};

/// The steps are called in their order by the thread that holds the device; `abandon` is for
/// another thread, which may call `record` afterwards.
class Unloader {
  public:
    /// All references stay the caller's and have to outlive this.
    Unloader(Tool& tool, const PhotoSession& session, const UnloadPlan& plan,
             std::vector<Target>& targets, const UnloadOptions& options,
             const UnloadProgress::Mode& mode);

    /// Copies and proves the files; ends early after a stop, or if the device is gone or no
    /// destination can be used any more.
    void copy();
    /// Writes the manifest or sums file of each destination, also of what was copied before a stop.
    /// A second call does nothing.
    void record();
    /// Deletes from the device what is proved and recorded everywhere, unless the run ended early
    /// or a target has a failure.
    void remove(const CardSurvey& survey);
    /// For another thread, while a step hangs in a DeviceCall and never returns: stops the settlers
    /// and makes the stop the `ending`. Only `record` and the results may be used afterwards.
    void abandon();

    const std::vector<UnloadedFile>& files() const { return files_; }
    /// Why some files weren't reached or weren't deleted; none if the run came to its end.
    const std::optional<Failure>& ending() const { return ending_; }
    /// The gravest failure of the run; none if all went well.
    std::optional<Failure> gravest() const;

  private:
    const PhotoSession& session_;
    std::vector<Target>& targets_;
    const UnloadOptions options_;
    std::vector<UnloadedFile> files_;
    // Declared in the order of use: the settlers and the copier refer to what is above them.
    UnloadProgress progress_;
    Copier::Settlers settlers_;
    Copier copier_;
    std::optional<Failure> ending_;
    bool isRecorded_ = false;
};

std::vector<const Destination*> destinationsOf(const std::vector<Target>& targets);

}  // namespace zlk
