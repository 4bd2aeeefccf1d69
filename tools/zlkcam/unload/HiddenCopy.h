#pragma once
// A copy that has no name of its own yet. It lies under a hidden name in the private folder of its
// run, see RunFolder.

#include <optional>
#include <span>
#include <string>

#include "platform/descriptor.h"

namespace zlk {

/// Owns the file, which is open for reading and writing. The destructor deletes the file unless it
/// was moved to its own name.
class HiddenCopy {
  public:
    /// Takes over the file of this name. `home` is the descriptor of the folder in which it lies;
    /// it stays the caller's and has to outlive this.
    HiddenCopy(int home, std::string name, Descriptor file);
    HiddenCopy(HiddenCopy&& other) noexcept;
    HiddenCopy& operator=(HiddenCopy&& other) noexcept;
    ~HiddenCopy();

    /// The descriptor stays this object's.
    int file() const { return file_.get(); }
    /// A path by which code of this process, such as a component, can open the file; valid as long
    /// as this lives.
    std::string path() const;
    /// Moves the file to a name that isn't taken, in an open folder of the same file system. False
    /// with errno, which is EEXIST if the name is taken and EXDEV for another file system.
    bool moveTo(int folder, const std::string& name);

  private:
    int home_;
    // Empty once the file was moved, so that the destructor leaves the file.
    std::string name_;
    Descriptor file_;
};

/// Waits until the bytes of all these files are on the disk. Throws Failure (FileUnusable).
void flushCopies(std::span<HiddenCopy* const> copies);

}  // namespace zlk
