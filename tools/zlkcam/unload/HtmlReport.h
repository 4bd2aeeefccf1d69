#pragma once
// The report of an unloading for people: one HTML page in each destination, complete in itself,
// which shows what was copied, what proves it, and first of all what went wrong.
//
// It is written file by file, whatever their number.

#include <memory>
#include <string_view>
#include <vector>

#include "tools/zlkcam/history/NewFile.h"
#include "tools/zlkcam/unload/ReportMarkup.h"
#include "tools/zlkcam/unload/Thumbnails.h"

namespace zlk {

class HtmlReport {
  public:
    /// All stay the caller's. The run begins here.
    HtmlReport(const PhotoSession& session, const UnloadPlan& plan, const CardSurvey& survey,
               const Unloader& unloader, std::vector<Target>& targets);

    /// Writes what isn't written yet, and gives each target its page's name, or the failure. Once
    /// the run has ended early, or a stop is wished, no thumbnails are made. Another thread may
    /// call it while one waits in here for the device and can't come back.
    void write();

  private:
    void begin();
    void writeFiles();
    void write(std::string_view text);
    void finish();
    template <class Work>
    void onPage(std::size_t index, Work work);

    const Unloader& unloader_;
    std::vector<Target>& targets_;
    const ReportMarkup markup_;
    Thumbnails thumbnails_;
    const DWORD start_ = GetTickCount();

    std::vector<std::unique_ptr<NewFile>> pages_;  // of each target; null if that one failed
    std::size_t looks_ = 0;  // at files: those that went wrong are written first
    bool isWritten_ = false;
};

}  // namespace zlk
