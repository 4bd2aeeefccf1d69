#pragma once
// The report of an unloading for people: one HTML page in each destination, written before anything
// is deleted from the device. A page needs no other file. It shows first what went wrong, and then
// what was copied and what proves it.
//
// A page is written file by file, so that memory doesn't grow with the number of files.

#include <memory>
#include <string_view>
#include <vector>

#include "tools/zlkcam/history/NewFile.h"
#include "tools/zlkcam/unload/ReportMarkup.h"
#include "tools/zlkcam/unload/Thumbnails.h"

namespace zlk {

/// Writes the pages of all destinations. One failing page leaves the others alone.
class HtmlReport {
  public:
    /// All references stay the caller's. The time of the run counts from here.
    HtmlReport(const PhotoSession& session, const UnloadPlan& plan, const CardSurvey& survey,
               const Unloader& unloader, std::vector<Target>& targets);

    /// Writes the pages and gives each target the name of its page, or the failure. After an early
    /// end or a stop no thumbnails are made. If the thread in this function hangs in a call of the
    /// device and can't return, another thread may call it to write the rest.
    void write();

  private:
    void begin();
    void writeFiles();
    /// Writes a piece of text to all pages that are still in order.
    void write(std::string_view text);
    void finish();
    /// Does `work` for one page, and gives up that page if it fails.
    template <class Work>
    void onPage(std::size_t index, Work work);

    const Unloader& unloader_;
    std::vector<Target>& targets_;
    const ReportMarkup markup_;
    Thumbnails thumbnails_;
    // Milliseconds of the system's tick count.
    const DWORD start_ = GetTickCount();

    // One page for each target; null if writing it failed.
    std::vector<std::unique_ptr<NewFile>> pages_;
    // Files that were looked at so far, in both walks of writeFiles.
    std::size_t looks_ = 0;
    bool isWritten_ = false;
};

}  // namespace zlk
