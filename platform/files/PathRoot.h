#pragma once
// The folder from which a path starts. If the folder has a fence, no path leads out of it.
//
// A card comes from somebody else, so every drive but `Z:` has a fence, and so has every share. The
// kernel resolves names within the fence (openat2): a link with a relative target is followed while
// it stays inside; a link that leaves, or that names an absolute path, fails with EXDEV. On a
// kernel without openat2 no link is followed within a fence. `/...` and paths from the current
// folder have no fence.

#include <string>

#include "platform/descriptor.h"

namespace zlk::platform {

class PathRoot {
  public:
    /// The process's current folder, without a fence.
    PathRoot() = default;
    /// An open folder, with or without a fence.
    PathRoot(Descriptor folder, bool fenced) noexcept
        : folder_(std::move(folder)), fenced_(fenced) {}
    /// The machine's own root, without a fence.
    static PathRoot ofMachine() {
        PathRoot root;
        root.ofMachine_ = true;
        return root;
    }

    bool isFenced() const noexcept { return fenced_; }

    /// Opens what lies at the relative path `way`, with flags of open(2) except O_CREAT; O_CLOEXEC
    /// is added. Empty with errno. Any thread may call it.
    Descriptor open(const std::string& way, int flags) const;

  private:
    // Empty for the current folder, and for the machine's root.
    Descriptor folder_;
    bool fenced_ = false, ofMachine_ = false;
};

}  // namespace zlk::platform
