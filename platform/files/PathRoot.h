#pragma once
// The folder that a path starts from, and the fence around it.
//
// A card is somebody else's, and what lies on it must not lead out of it. So below a drive or a
// share the kernel resolves names inside the fence (openat2): a link with a relative target is
// followed while it stays inside; one that leaves, or names an absolute path, fails with EXDEV. A
// kernel without that call follows no link there at all. `Z:`, `/...` and paths from the current
// folder are the user's own and have no fence.

#include <string>

#include "platform/descriptor.h"

namespace zlk::platform {

class PathRoot {
  public:
    /// The process's current folder, without a fence.
    PathRoot() = default;
    PathRoot(Descriptor folder, bool fenced) noexcept
        : folder_(std::move(folder)), fenced_(fenced) {}
    /// The machine's own root, without a fence.
    static PathRoot ofMachine() {
        PathRoot root;
        root.ofMachine_ = true;
        return root;
    }

    bool isFenced() const noexcept { return fenced_; }

    /// Opens what lies at `way`, a relative path, with flags of open(2) but O_CREAT, and closed on
    /// exec. Empty with errno.
    Descriptor open(const std::string& way, int flags) const;

  private:
    Descriptor folder_;
    bool fenced_ = false, ofMachine_ = false;
};

}  // namespace zlk::platform
