#pragma once
// A private folder of a run, `.zlkcam-<digits>`, in which files lie until they get their names.
//
// Everything in it is reached through its descriptor. Where the file system has owners, only the
// folder's owner may look into it, so that no other user can exchange a file that is being written
// for a link. The run locks the folder as long as it lives, so that later runs can tell leftovers
// of killed runs from folders in use. Where the locks of other computers may not show, a leftover
// must also be a day old.

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "platform/descriptor.h"
#include "tools/zlkcam/unload/HiddenCopy.h"

namespace zlk {

/// Owns the folder and its lock. Destination guards `make` and `keep` by its mutex.
class RunFolder {
  public:
    /// Creates and locks the folder in an open folder `parent`, whose name for messages is `shown`.
    /// Throws Failure (FileUnusable).
    RunFolder(int parent, const std::string& shown);
    ~RunFolder();
    RunFolder(const RunFolder&) = delete;
    RunFolder& operator=(const RunFolder&) = delete;

    int folder() const { return folder_.get(); }
    /// Creates a file. This has to outlive the HiddenCopy. `name` becomes a part of the hidden
    /// name, for people who look at what a killed run left. Throws Failure (FileUnusable).
    HiddenCopy make(std::string_view name);
    /// Deletes the unfinished files, as far as that is possible.
    void removeCopies() const noexcept;
    /// Deletes the folder with all that lies in it, as far as that is possible, unless it is kept.
    void finish() const noexcept;
    /// Whether the folder stays for a later run when this object is destroyed.
    void keep(bool isKept) { isKept_ = isKept; }

    /// Calls `taken` for each folder of a killed run in `parent`, with a descriptor of the locked
    /// folder, and deletes the folder if `taken` returns true.
    static void sweep(int parent, const std::function<bool(int folder)>& taken);

  private:
    bool tryToMake(int parent);

    Descriptor parent_;
    const std::string shown_;
    std::string name_;
    Descriptor folder_;
    bool isKept_ = false;
    // Counts the files, so that each gets another name.
    unsigned made_ = 0;
};

}  // namespace zlk
