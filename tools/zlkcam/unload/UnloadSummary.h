#pragma once
// Writes the answer of an unloading when it is over, or of a rehearsal, in words or as JSON.

#include <optional>
#include <string>
#include <vector>

#include "tools/zlkcam/CardSurvey.h"
#include "tools/zlkcam/Tool.h"
#include "tools/zlkcam/unload/Unloader.h"

namespace zlk {

/// Makes the answer from the plan or, when the copying is over, from the results of the Unloader.
class UnloadSummary {
  public:
    /// All references stay the caller's. The time of the run counts from here.
    UnloadSummary(Tool& tool, const std::u16string& contextId, const UnloadPlan& plan,
                  const std::vector<Target>& targets, const CardSurvey& survey);

    /// For a rehearsal: writes what would be done with each file.
    void tellPlan() const;

    /// Notes why a deletion that was asked for isn't going to happen.
    void noteNotDeleted(const Failure& failure) { notDeleted_ = failure; }
    /// Writes what was done, and sets the exit status of the tool if something failed. With `quiet`
    /// only failures are put into words. May be called from any thread, but only once.
    void tell(const Unloader& unloader, bool quiet) const;

  private:
    using Files = std::vector<UnloadedFile>;

    void sayAll(const Unloader& unloader, DWORD milliseconds) const;
    void sayCopied(const Files& files, DWORD milliseconds) const;
    void sayProofs(const Files& files) const;
    void sayTroubles(const Files& files) const;
    void writeTargets() const;
    void writeAll(const Unloader& unloader, DWORD milliseconds) const;
    /// Writes a failure and makes its status that of the tool.
    void fail(const Failure& failure) const;

    Tool& tool_;
    const std::u16string& contextId_;
    const UnloadPlan& plan_;
    const std::vector<Target>& targets_;
    const CardSurvey& survey_;
    // Milliseconds of the system's tick count.
    const DWORD start_;
    std::optional<Failure> notDeleted_;
};

}  // namespace zlk
