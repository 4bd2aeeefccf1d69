#include "platform/drives/SystemVolumes.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>
#include <string_view>
#include <system_error>

#include "platform/base/SmallFile.h"
#include "platform/immortal.h"

namespace zlk::platform {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t maxMountInfo = 16 * 1024 * 1024;  // bytes

SystemRoots& roots() {
    static Immortal<SystemRoots> instance;
    return *instance;
}

/// Undoes escapes made of `front` and the digits of a byte in some base: mount tables write a blank
/// as \040, and links by label as \x20.
std::string unescaped(std::string_view text, std::string_view front, int base, std::size_t digits) {
    std::string result;
    while (!text.empty()) {
        unsigned byte = 0;
        bool escape = text.size() >= front.size() + digits && text.starts_with(front);
        if (escape) {
            const char* number = text.data() + front.size();
            const auto [end, error] = std::from_chars(number, number + digits, byte, base);
            escape = error == std::errc() && end == number + digits && byte > 0 && byte < 0x100;
        }
        result += escape ? static_cast<char>(byte) : text[0];
        text.remove_prefix(escape ? front.size() + digits : 1);
    }
    return result;
}

struct Mount {
    std::string device;  // major:minor
    std::string folder, fileSystem, source;
};

std::vector<Mount> readMounts() {
    std::vector<Mount> mounts;
    std::istringstream lines(readSmallFile(roots().mountInfo, maxMountInfo));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        // A line is: id, parent, device, root, folder, options, any number of fields up to "-",
        // file system, source.
        std::string skipped, folder, source;
        Mount mount;
        words >> skipped >> skipped >> mount.device >> skipped >> folder >> skipped;
        while (words >> skipped && skipped != "-") {
        }
        if (!(words >> mount.fileSystem >> source)) continue;
        mount.folder = unescaped(folder, "\\", 8, 3);
        mount.source = unescaped(source, "\\", 8, 3);
        mounts.push_back(std::move(mount));
    }
    return mounts;
}

struct Disk {
    SystemVolume reader;  // how it is listed without a medium
    bool removable = false;
    std::map<std::string, std::string> devices;  // names of disk and partitions, by major:minor
};

bool exists(const std::string& path) {
    return ::access(path.c_str(), F_OK) == 0;
}

std::vector<Disk> readDisks() {
    constexpr std::string_view scsiDisc = "5";  // the SCSI type of CD and DVD drives
    std::vector<Disk> disks;
    for (const std::string& name : namesIn(roots().sysBlock)) {
        const std::string folder = roots().sysBlock + '/' + name + '/', device = folder + "device/";
        if (!exists(device)) continue;  // loop devices, memory disks and the like
        Disk disk;
        disk.reader.disk = disk.reader.device = name;
        disk.reader.vendor = readAttribute(device + "vendor");
        disk.reader.product = readAttribute(device + "model");
        // Cards in an SD host controller have a name and no model.
        if (disk.reader.product.empty()) disk.reader.product = readAttribute(device + "name");
        disk.reader.disc = readAttribute(device + "type") == scsiDisc;
        disk.removable = readAttribute(folder + "removable") == "1";
        disk.devices[readAttribute(folder + "dev")] = name;
        // A partition's name begins with the disk's. The folder also has entries that are no
        // partitions, such as `queue`.
        for (const std::string& part : namesIn(folder))
            if (part.starts_with(name) && exists(folder + part + "/partition"))
                disk.devices[readAttribute(folder + part + "/dev")] = part;
        disks.push_back(std::move(disk));
    }
    return disks;
}

// Whether a path is `top` or lies below it.
bool isBelow(std::string_view folder, std::string_view top) {
    return folder.starts_with(top) && (folder.size() == top.size() || folder[top.size()] == '/');
}

}  // namespace

void setSystemRoots(const SystemRoots& newRoots) {
    roots() = newRoots;
}

std::vector<SystemVolume> systemVolumes() {
    const std::vector<Mount> mounts = readMounts();
    std::vector<SystemVolume> volumes;
    for (const Disk& disk : readDisks()) {
        const auto carries = [&disk](const Mount& mount) {
            return disk.devices.contains(mount.device);
        };
        const bool ofSystem = std::any_of(mounts.begin(), mounts.end(), [&](const Mount& mount) {
            return mount.folder == "/" && carries(mount);
        });
        bool mounted = false;
        std::set<std::string> seen;  // a medium that is mounted twice is listed once
        for (const Mount& mount : mounts) {
            if (!carries(mount)) continue;
            mounted = true;
            const bool media =
                isBelow(mount.folder, "/media") || isBelow(mount.folder, "/run/media");
            // The stick that a live system was started from may be mounted below /run. It is no
            // card.
            const bool system =
                ofSystem || isBelow(mount.folder, "/run") || isBelow(mount.folder, "/boot");
            if (!media && (system || !disk.removable)) continue;
            SystemVolume volume = disk.reader;
            volume.device = disk.devices.at(mount.device);
            volume.folder = mount.folder;
            if (seen.insert(volume.device).second) volumes.push_back(std::move(volume));
        }
        if (disk.removable && !mounted) volumes.push_back(disk.reader);
    }
    return volumes;
}

std::string volumeLabel(const std::string& device) {
    for (const std::string& label : namesIn(roots().diskByLabel)) {
        std::error_code none;
        if (fs::read_symlink(roots().diskByLabel + '/' + label, none).filename() == device)
            return unescaped(label, "\\x", 16, 2);
    }
    return {};
}

std::vector<NetworkMount> networkMounts() {
    static const std::set<std::string_view> kinds{"cifs", "smb3", "nfs", "nfs4"};
    std::vector<NetworkMount> found;
    for (Mount& mount : readMounts()) {
        if (!kinds.contains(mount.fileSystem)) continue;
        // SMB writes `//server/share`, NFS `server:/share`. The colon is removed. The slash that
        // follows tells it from the colons of an address in brackets.
        std::string& source = mount.source;
        const std::size_t colon = source.find(":/");
        if (colon != std::string::npos) source.erase(colon, 1);
        NetworkMount network{{}, mount.folder};
        std::istringstream names(source);
        for (std::string name; std::getline(names, name, '/');)
            if (!name.empty()) network.source.push_back(name);
        if (network.source.size() >= 2) found.push_back(std::move(network));
    }
    return found;
}

}  // namespace zlk::platform
