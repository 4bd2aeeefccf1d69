#pragma once
// Finds the volumes that may be cards or discs, the readers without a mounted medium, and the
// mounted network shares. The kernel reports all of these; udev reports the labels. All functions
// may be called on any thread, except setSystemRoots.

#include <string>
#include <vector>

namespace zlk::platform {

/// The places that the functions below read. Tests replace them by trees of their own, before any
/// other call.
struct SystemRoots {
    std::string mountInfo = "/proc/self/mountinfo";
    std::string sysBlock = "/sys/block";
    std::string diskByLabel = "/dev/disk/by-label";
};
#pragma GCC visibility push(default)
void setSystemRoots(const SystemRoots& roots);
#pragma GCC visibility pop

/// A medium that is mounted, or a reader without a mounted medium.
struct SystemVolume {
    std::string disk;    ///< the reader's device name, such as `sdb`
    std::string device;  ///< such as `sdb1`: the mounted medium's name, or else the disk's
    std::string folder;  ///< where it is mounted; empty for a reader without a mounted medium
    std::string vendor, product;
    bool disc = false;  ///< whether the drive is one for discs (CD, DVD)
};

/// All volumes in the order of their disks' names. A medium that is mounted below /media or
/// /run/media is listed for any disk. A medium that is mounted elsewhere is listed only if its disk
/// is removable and doesn't hold this system's root, and never if it is mounted below /run or
/// /boot. A removable disk of which nothing is mounted is listed as a reader. Loop devices and
/// memory disks don't count as disks.
std::vector<SystemVolume> systemVolumes();

/// The bytes of the label of the medium on a device (`sdb1`); empty if the medium has no label.
std::string volumeLabel(const std::string& device);

struct NetworkMount {
    std::vector<std::string> source;  ///< server, share, and what lies below it, if anything
    std::string folder;
};
/// All shares (SMB, NFS) that are mounted now, in the order of the kernel's table. A mount whose
/// source names a server alone is left out.
std::vector<NetworkMount> networkMounts();

}  // namespace zlk::platform
