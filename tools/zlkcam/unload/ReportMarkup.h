#pragma once
// Builds the pieces of HTML from which the page of a report is made; HtmlReport writes them.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "tools/zlkcam/CardSurvey.h"
#include "tools/zlkcam/Documents.h"
#include "tools/zlkcam/unload/UnloadPlan.h"
#include "tools/zlkcam/unload/Unloader.h"

namespace zlk {

/// Whether something went wrong with a file, or a destination that needs it didn't get it.
bool isAmiss(const UnloadedFile& file);

/// Builds text only, and touches neither files nor the device.
class ReportMarkup {
  public:
    /// All references stay the caller's. The run's time begins here.
    ReportMarkup(const Device& device, const UnloadPlan& plan, const CardSurvey& survey,
                 const Unloader& unloader, const std::vector<Target>& targets)
        : device_(device), plan_(plan), survey_(survey), unloader_(unloader), targets_(targets) {}

    /// When the run began, in seconds since 1970 UTC.
    std::int64_t begun() const { return begun_; }

    /// The page up to its pictures: verdict, troubles, facts and folders. `milliseconds` is how
    /// long the run took.
    std::string head(DWORD milliseconds) const;
    /// The figure of one file; `thumbnail` is a JPEG picture, or empty.
    std::string file(const UnloadedFile& file, const std::string& thumbnail) const;
    /// The end of the page. `thumbnails` is how many are shown, or none if all are.
    std::string foot(std::optional<std::size_t> thumbnails) const;

  private:
    /// The sentence that says whether all went well.
    std::string verdict() const;
    /// Device, times and counts.
    std::string facts(DWORD milliseconds) const;
    std::string troubles() const;
    std::string destinations() const;
    std::string placesOf(const UnloadedFile& file) const;
    /// What went wrong with a file, and in which folders it is missing.
    std::string reasonsOf(const UnloadedFile& file) const;

    const Device& device_;
    const UnloadPlan& plan_;
    const CardSurvey& survey_;
    const Unloader& unloader_;
    const std::vector<Target>& targets_;
    const std::int64_t begun_ = _time64();
};

}  // namespace zlk
