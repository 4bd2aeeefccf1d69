#pragma once
// Shows how an unloading goes on. People get a progress bar on a terminal, or a line for each file
// elsewhere. Programs get a JSON object for each event, if they ask for that.

#include <cstdint>
#include <mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "tools/zlkcam/ProgressBar.h"
#include "tools/zlkcam/Tool.h"
#include "tools/zlkcam/unload/Destination.h"
#include "tools/zlkcam/unload/UnloadedFile.h"

namespace zlk {

/// Thread-safe. Called by the thread that reads from the device and by those of the settlers.
class UnloadProgress {
  public:
    /// How much there is to do. The bar shows it and estimates the remaining times by it; the event
    /// `start` has the files and bytes.
    struct Extent {
        std::size_t files = 0;
        std::uint64_t bytes = 0;
        bool proves = false;  ///< copies are also read back, which the bar counts as well
    };
    /// What the user wants to be shown.
    struct Mode {
        bool quiet = false;   ///< only failures are shown
        bool events = false;  ///< each event is a JSON object in a line
    };
    UnloadProgress(Tool& tool, std::vector<const Destination*> destinations, const Extent& extent,
                   const Mode& mode);

    /// The device begins to give this file.
    void start(const UnloadedFile& file);
    /// How much of the file in hand has been read, from 0 to 100.
    void progress(int percent);
    /// The device gives no more of the file, and this many destinations are going to settle it.
    void arrived(const UnloadedFile& file, std::size_t destinations);
    /// One of the destinations that settle the file is done with it.
    void settled(const UnloadedFile& file);
    /// Hides the bar. To be called before anything else is written to the terminal.
    void end();

  private:
    /// Writes the line or event of a finished file. Needs `inUse_`, like tellProgress.
    void tell(const UnloadedFile& file);
    std::string lineOf(const UnloadedFile& file) const;
    std::string placesOf(const UnloadedFile& file) const;
    void tellProgress();
    static void tellEvent(JsonWriter& event);

    // Guards `bar_`, `lastTold_` and `settling_`.
    std::mutex inUse_;
    const std::vector<const Destination*> destinations_;
    const Extent extent_;
    const Mode mode_;
    ProgressBar bar_;
    // When the last progress event was written, in milliseconds of the bar's clock.
    DWORD lastTold_ = 0;
    // How many destinations still have to report about a file that has arrived.
    std::unordered_map<const UnloadedFile*, std::size_t> settling_;
};

/// Adds a file as a JSON object, in the form that events and the answer have it.
void writeFile(JsonWriter& json, const UnloadedFile& file,
               const std::vector<const Destination*>& destinations);

}  // namespace zlk
