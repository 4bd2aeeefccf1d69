#pragma once
// The pieces of which the page of a report is made.

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

/// Whether something went wrong with a file, or it wasn't reached.
bool isAmiss(const UnloadedFile& file);

class ReportMarkup {
  public:
    /// All stay the caller's. The run begins here.
    ReportMarkup(const Device& device, const UnloadPlan& plan, const CardSurvey& survey,
                 const Unloader& unloader, const std::vector<Target>& targets)
        : device_(device), plan_(plan), survey_(survey), unloader_(unloader), targets_(targets) {}

    /// Seconds since 1970 UTC.
    std::int64_t begun() const { return begun_; }

    /// All that is known when the files are done with, after so long.
    std::string head(DWORD milliseconds) const;
    /// One of them; `thumbnail` is a JPEG picture, or empty.
    std::string file(const UnloadedFile& file, const std::string& thumbnail) const;
    /// With the number of thumbnails where there were too many.
    std::string foot(std::optional<std::size_t> thumbnails) const;

  private:
    std::string verdict() const;
    std::string facts(DWORD milliseconds) const;
    std::string troubles() const;
    std::string destinations() const;
    std::string placesOf(const UnloadedFile& file) const;
    std::string reasonsOf(const UnloadedFile& file) const;

    const Device& device_;
    const UnloadPlan& plan_;
    const CardSurvey& survey_;
    const Unloader& unloader_;
    const std::vector<Target>& targets_;
    const std::int64_t begun_ = _time64();
};

}  // namespace zlk
