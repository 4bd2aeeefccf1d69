#pragma once
// What a person, or a program, hears of an unloading while it goes on: a bar, a line a file, or a
// JSON object an event.

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

/// May be called from any thread.
class UnloadProgress {
  public:
    struct Extent {
        std::size_t files = 0;
        std::uint64_t bytes = 0;
        bool proves = false;  ///< copies are read back, too
    };
    struct Mode {
        bool quiet = false;   ///< nothing but what goes wrong
        bool events = false;  ///< with JSON: an object a line for each event
    };
    UnloadProgress(Tool& tool, std::vector<const Destination*> destinations, const Extent& extent,
                   const Mode& mode);

    /// The device begins to give a file.
    void start(const UnloadedFile& file);
    void progress(int percent);
    /// It has given all that it will of it, and so many destinations settle it now.
    void arrived(const UnloadedFile& file, std::size_t destinations);
    /// One of them is done with it.
    void settled(const UnloadedFile& file);
    /// All are, or nothing more is waited for: what is said now has the line for itself.
    void end();

  private:
    void tell(const UnloadedFile& file);
    std::string lineOf(const UnloadedFile& file) const;
    std::string placesOf(const UnloadedFile& file) const;
    void tellProgress();
    static void tellEvent(JsonWriter& event);

    std::mutex inUse_;
    const std::vector<const Destination*> destinations_;
    const Extent extent_;
    const Mode mode_;
    ProgressBar bar_;
    DWORD lastTold_ = 0;
    std::unordered_map<const UnloadedFile*, std::size_t> settling_;  // how many are to come
};

/// A file as answers have it.
void writeFile(JsonWriter& json, const UnloadedFile& file,
               const std::vector<const Destination*>& destinations);

}  // namespace zlk
