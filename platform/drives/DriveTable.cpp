#include "platform/drives/DriveTable.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

#include "platform/base/FileName.h"
#include "platform/base/PosixError.h"
#include "platform/drives/CardMountStore.h"
#include "platform/drives/DriveLetters.h"
#include "platform/drives/SystemVolumes.h"
#include "platform/text.h"

namespace zlk::platform {
namespace {

/// The path of this machine that a text means. Units that may stand for bytes (see FileName.h) are
/// read as characters if that leads to something, and else as bytes.
std::string machinePath(const std::u16string& text) {
    auto literal = literalName(text);
    if (literal && (!hasByteUnits(text) || ::access(literal->c_str(), F_OK) == 0)) return *literal;
    if (auto bytes = byteName(text)) return *bytes;
    return literal.value_or(std::string());
}

// The last name of a path. It serves as the label of a drive that has none.
std::u16string lastName(std::string_view folder) {
    while (folder.ends_with('/')) folder.remove_suffix(1);
    return nameText(folder.substr(folder.rfind('/') + 1));
}

Drive driveOf(const CardMount& mount) {
    Drive drive{.letter = mount.letter,
                .type = mount.cdrom ? DRIVE_CDROM : DRIVE_REMOVABLE,
                .folder = machinePath(mount.folder),
                .label = mount.label,
                .vendor = utf8Text(mount.vendor),
                .product = utf8Text(mount.product)};
    if (drive.label.empty()) drive.label = lastName(drive.folder);
    return drive;
}

Drive driveOf(const LetteredVolume& lettered) {
    const SystemVolume& volume = lettered.volume;
    const std::string label = volume.folder.empty() ? "" : volumeLabel(volume.device);
    return {.letter = lettered.letter,
            .type = volume.disc ? DRIVE_CDROM : DRIVE_REMOVABLE,
            .folder = volume.folder,
            .label = label.empty() ? lastName(volume.folder) : nameText(label),
            .vendor = volume.vendor,
            .product = volume.product};
}

Drive machineDrive() {
    return {.letter = machineLetter,
            .type = DRIVE_FIXED,
            .folder = "/",
            .label = {},
            .vendor = {},
            .product = {}};
}

Descriptor openFolder(const std::string& folder) {
    return Descriptor(::open(folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

/// The number of names in a mount's source if `path` begins with all of them; 0 otherwise.
std::size_t matchOf(const NetworkMount& mount, const std::vector<std::u16string_view>& path,
                    bool anyCase) {
    if (mount.source.size() > path.size()) return 0;
    const bool same =
        std::equal(mount.source.begin(), mount.source.end(), path.begin(),
                   [anyCase](const std::string& name, std::u16string_view text) {
                       const std::u16string other = nameText(name);
                       return anyCase ? equalIgnoringCase(other, text) : other == text;
                   });
    return same ? mount.source.size() : 0;
}

}  // namespace

std::vector<Drive> listDrives() {
    std::vector<Drive> drives;
    std::u16string taken;
    for (const CardMount& mount : readCardMounts()) {
        drives.push_back(driveOf(mount));
        taken += mount.letter;
    }
    const std::size_t mounted = drives.size();
    for (const LetteredVolume& lettered : letteredVolumes(taken)) {
        const auto end = drives.begin() + static_cast<std::ptrdiff_t>(mounted);
        const bool known = std::any_of(drives.begin(), end, [&](const Drive& drive) {
            return drive.folder == lettered.volume.folder;
        });
        if (!known) drives.push_back(driveOf(lettered));
    }
    std::sort(drives.begin(), drives.end(),
              [](const Drive& a, const Drive& b) { return a.letter < b.letter; });
    drives.push_back(machineDrive());
    return drives;
}

std::optional<Drive> findDrive(WCHAR letter) {
    letter = upperCase(letter);
    if (letter == machineLetter) return machineDrive();
    if (letter < firstLetter || letter > lastLetter) return std::nullopt;
    // A mounted folder is found without looking at all volumes.
    if (const auto mount = readCardMount(letter)) return driveOf(*mount);
    for (Drive& drive : listDrives())
        if (drive.letter == letter) return std::move(drive);
    return std::nullopt;
}

Descriptor openDriveFolder(WCHAR letter) {
    const auto drive = findDrive(letter);
    if (!drive) {
        SetLastError(ERROR_PATH_NOT_FOUND);
        return {};
    }
    Descriptor folder = drive->folder.empty() ? Descriptor() : openFolder(drive->folder);
    if (!folder)
        SetLastError(!drive->folder.empty() && errno == EACCES ? ERROR_ACCESS_DENIED
                                                               : ERROR_NOT_READY);
    return folder;
}

Descriptor openShareFolder(std::vector<std::u16string_view>& path) {
    const std::vector<NetworkMount> mounts = networkMounts();
    std::size_t length = 0;
    const NetworkMount* best = nullptr;
    // A path may begin with the sources of several mounts, and then the longest source counts. The
    // exact case is tried first, and only a longer source replaces what was found. So of sources
    // that differ only in case, the one that is spelled like the path is taken.
    for (const bool anyCase : {false, true}) {
        for (const NetworkMount& mount : mounts) {
            const std::size_t match = matchOf(mount, path, anyCase);
            if (match > length) {
                length = match;
                best = &mount;
            }
        }
    }
    Descriptor folder = best ? openFolder(best->folder) : Descriptor();
    if (!best) {
        SetLastError(ERROR_PATH_NOT_FOUND);
    } else if (!folder) {
        setLastErrorFromErrno();
    }
    path.erase(path.begin(), path.begin() + static_cast<std::ptrdiff_t>(length));
    return folder;
}

}  // namespace zlk::platform
