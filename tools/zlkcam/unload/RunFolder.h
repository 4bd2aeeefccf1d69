#pragma once
// The private folder of a run, `.zlkcam-<run>`, in which files lie until they are whole.
//
// Nobody else may look into it, and all in it is reached by its descriptor, so that nobody can
// exchange a file that is being written for a link to another one. It is locked while its run
// lives, which tells the leftovers of killed runs from what is in use.

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/descriptor.h"

namespace zlk {

class RunFolder;

/// A file that isn't whole yet, open for reading and writing. It goes with its owner, unless it
/// has got its own name.
class HiddenCopy {
  public:
    HiddenCopy(HiddenCopy&& other) noexcept;
    HiddenCopy& operator=(HiddenCopy&& other) noexcept;
    ~HiddenCopy();

    int file() const { return file_.get(); }
    /// To open it by, also for a component, as long as this lives.
    std::string path() const;
    /// Moves it to a name that nothing has yet; false with errno (EEXIST).
    bool moveTo(int folder, const std::string& name);
    /// Whether a name leads to it; none with errno where that can't be found out.
    std::optional<bool> isAt(int folder, const std::string& name) const;

  private:
    friend class RunFolder;
    HiddenCopy(const RunFolder& home, std::string name, Descriptor file);

    const RunFolder* home_;
    std::string name_;
    Descriptor file_;
};

class RunFolder {
  public:
    /// Makes it in a folder, or throws Failure (FileUnusable). `shown` is that folder's name for
    /// people.
    RunFolder(int parent, const std::string& shown);
    ~RunFolder();
    RunFolder(const RunFolder&) = delete;
    RunFolder& operator=(const RunFolder&) = delete;

    int folder() const { return folder_.get(); }
    /// A new file; `name` is there for people who look for the leftovers of a killed run. Throws
    /// Failure (FileUnusable).
    HiddenCopy make(std::string_view name);
    /// Takes away the files that aren't whole, as far as it can.
    void removeCopies() const noexcept;
    /// Takes it away, with all that lies in it, unless it is kept.
    void finish() const noexcept;
    /// Whether it stays when this goes, for a later run.
    void keep(bool isKept) { isKept_ = isKept; }

    /// Hands out the folders of killed runs below `parent`, one by one and locked, and removes each
    /// for which `taken` gives true.
    static void sweep(int parent, const std::function<bool(int folder)>& taken);

  private:
    bool tryToMake(int parent);

    Descriptor parent_;
    const std::string shown_;
    std::string name_;
    Descriptor folder_;
    bool isKept_ = false;
    unsigned made_ = 0;
};

}  // namespace zlk
