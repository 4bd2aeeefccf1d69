#pragma once
// The answer of an unloading, in words and as JSON.

#include <optional>
#include <string>
#include <vector>

#include "tools/zlkcam/CardSurvey.h"
#include "tools/zlkcam/Tool.h"
#include "tools/zlkcam/unload/Unloader.h"

namespace zlk {

class UnloadSummary {
  public:
    /// All stay the caller's. The time begins here.
    UnloadSummary(Tool& tool, const std::u16string& contextId, const UnloadPlan& plan,
                  const std::vector<Target>& targets, const CardSurvey& survey);

    /// What would be done with each file.
    void tellPlan() const;

    /// Why nothing is deleted that should be.
    void noteNotDeleted(const Failure& failure) { notDeleted_ = failure; }
    /// What was done; it gives the tool its status. From whichever thread the run comes to its end.
    void tell(const Unloader& unloader, bool quiet) const;

  private:
    using Files = std::vector<UnloadedFile>;

    void sayAll(const Unloader& unloader, DWORD milliseconds) const;
    void sayCopied(const Files& files, DWORD milliseconds) const;
    void sayProofs(const Files& files) const;
    void sayTroubles(const Files& files) const;
    void writeTargets() const;
    void writeAll(const Unloader& unloader, DWORD milliseconds) const;
    void fail(const Failure& failure) const;

    Tool& tool_;
    const std::u16string& contextId_;
    const UnloadPlan& plan_;
    const std::vector<Target>& targets_;
    const CardSurvey& survey_;
    const DWORD start_;
    std::optional<Failure> notDeleted_;
};

}  // namespace zlk
