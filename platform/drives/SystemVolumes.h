#pragma once
// Removable media, discs, readers and network mounts, as the kernel tells of them.

#include <string>
#include <vector>

namespace zlk::platform {

/// Where the kernel tells it; tests put trees of their own here, before any other call.
struct SystemRoots {
    std::string mountInfo = "/proc/self/mountinfo";
    std::string sysBlock = "/sys/block";
    std::string diskByLabel = "/dev/disk/by-label";
};
#pragma GCC visibility push(default)
void setSystemRoots(const SystemRoots& roots);
#pragma GCC visibility pop

/// A medium that is mounted, or a reader without one.
struct SystemVolume {
    std::string disk;    ///< the reader's device name, as in `sdb`
    std::string device;  ///< that of what is mounted, as in `sdb1`; the disk's for a reader
    std::string folder;  ///< where it is mounted; empty for a reader without a mounted medium
    std::string vendor, product;
    bool disc = false;
};

/// By device name. A medium below /media or /run/media counts on any disk, elsewhere only one on a
/// disk that can be removed; and never one on the disk that this system runs from.
std::vector<SystemVolume> systemVolumes();

/// The label on a medium; empty if it has none.
std::string volumeLabel(const std::string& device);

struct NetworkMount {
    std::vector<std::string> source;  ///< server, share, and what lies below it, if anything
    std::string folder;
};
std::vector<NetworkMount> networkMounts();

}  // namespace zlk::platform
