#include "platform/volumes.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include <algorithm>
#include <cstring>

#include "platform/internal/CardMountStore.h"
#include "platform/internal/DriveLetters.h"
#include "platform/internal/DriveTable.h"
#include "platform/internal/FileName.h"
#include "platform/internal/PathTarget.h"
#include "platform/internal/PosixError.h"
#include "platform/internal/WithoutExceptions.h"
#include "platform/text.h"

using namespace zlk::platform;

namespace {

constexpr std::size_t maxLabel = 32, maxDeviceText = 64;

/// The letter of `X:` or `X:\`; 0 for any other text.
WCHAR letterOfRoot(const WCHAR* root) {
    const std::u16string_view text = root ? root : u"";
    const bool slash = text.size() == 3 && (text[2] == u'\\' || text[2] == u'/');
    return text.size() >= 2 && text[1] == u':' && (text.size() == 2 || slash) ? text[0] : u'\0';
}

std::u16string_view fileSystemName(const struct statfs& system) {
    switch (system.f_type) {
        case MSDOS_SUPER_MAGIC:
            return u"FAT";
        case EXFAT_SUPER_MAGIC:
            return u"exFAT";
        case ISOFS_SUPER_MAGIC:
            return u"CDFS";
        case UDF_SUPER_MAGIC:
            return u"UDF";
        default:
            return u"Linux";
    }
}

/// False where there is no room; a null buffer wants no text.
bool give(std::u16string_view text, WCHAR* buffer, DWORD room) {
    if (!buffer) return true;
    if (text.size() >= room) return false;
    buffer[text.copy(buffer, text.size())] = 0;
    return true;
}

bool refuse(LSTATUS error) {
    SetLastError(static_cast<DWORD>(error));
    return false;
}

bool hasText(const std::u16string& text, std::size_t limit) {
    return text.size() <= limit && text.find(u'\0') == text.npos;
}

bool isFolder(const std::u16string& path) {
    auto target = PathTarget::find(path.c_str());
    return target && target->open(O_PATH | O_DIRECTORY);
}

bool mountUnderLock(CardMount& mount, const LetterLock& lock) {
    std::u16string taken = mountedLetters();
    for (const LetteredVolume& lettered : letteredVolumes(taken, &lock)) taken += lettered.letter;
    if (mount.letter && taken.find(mount.letter) != taken.npos) return refuse(ERROR_ALREADY_EXISTS);
    WCHAR letter = mount.letter ? mount.letter : firstLetter;
    while (taken.find(letter) != taken.npos) ++letter;
    if (letter > lastLetter) return refuse(ERROR_INVALID_DRIVE);
    CardMount given = mount;
    given.letter = letter;
    if (const LSTATUS error = writeCardMount(given)) return refuse(error);
    mount.letter = letter;
    return true;
}

bool mountFolder(CardMount& mount) {
    if (mount.letter) {
        mount.letter = upperCase(mount.letter);
        if (mount.letter < firstLetter || mount.letter > lastLetter)
            return refuse(ERROR_INVALID_DRIVE);
    }
    constexpr std::size_t maxFolder = 4096;
    if (!hasText(mount.label, maxLabel) || !hasText(mount.vendor, maxDeviceText) ||
        !hasText(mount.product, maxDeviceText) || !hasText(mount.folder, maxFolder))
        return refuse(ERROR_INVALID_PARAMETER);
    if (!mount.folder.starts_with(u'/') || !isFolder(mount.folder)) return refuse(ERROR_DIRECTORY);
    const LetterLock lock;
    return lock.held() && mountUnderLock(mount, lock);
}

bool unmountFolder(WCHAR letter) {
    const LetterLock lock;
    if (!lock.held()) return false;
    letter = upperCase(letter);
    if (!readCardMount(letter)) return refuse(ERROR_INVALID_DRIVE);
    const LSTATUS error = removeCardMount(letter);
    return !error || refuse(error);
}

}  // namespace

UINT GetDriveTypeW(const WCHAR* root) noexcept {
    return withoutExceptions(DRIVE_NO_ROOT_DIR, [&] {
        const auto drive = findDrive(letterOfRoot(root));
        return drive ? drive->type : DRIVE_NO_ROOT_DIR;
    });
}

DWORD GetLogicalDriveStringsW(DWORD room, WCHAR* buffer) noexcept {
    return withoutExceptions(DWORD{0}, [&]() -> DWORD {
        std::u16string roots;
        for (const Drive& drive : listDrives()) roots += {drive.letter, u':', u'\\', u'\0'};
        const auto length = static_cast<DWORD>(roots.size());
        if (!buffer || room <= length) return length + 1;
        std::memcpy(buffer, roots.c_str(), (length + 1) * sizeof(WCHAR));
        return length;
    });
}

BOOL GetVolumeInformationW(const WCHAR* root, WCHAR* label, DWORD labelRoom, DWORD* serialNumber,
                           DWORD* maximumComponentLength, DWORD* flags, WCHAR* fileSystem,
                           DWORD fileSystemRoom) noexcept {
    return withoutExceptions(false, [&] {
        const auto drive = findDrive(letterOfRoot(root));
        if (!drive) return refuse(ERROR_PATH_NOT_FOUND);
        struct statfs system;
        struct stat status;
        if (drive->folder.empty() || ::stat(drive->folder.c_str(), &status) != 0 ||
            !S_ISDIR(status.st_mode) || ::statfs(drive->folder.c_str(), &system) != 0)
            return refuse(ERROR_NOT_READY);
        if (!give(drive->label, label, labelRoom) ||
            !give(fileSystemName(system), fileSystem, fileSystemRoom))
            return refuse(ERROR_INSUFFICIENT_BUFFER);
        if (serialNumber) std::memcpy(serialNumber, &system.f_fsid, sizeof *serialNumber);
        if (maximumComponentLength) *maximumComponentLength = 255;
        if (flags) *flags = 0;
        return true;
    });
}

BOOL mountCard(CardMount& mount) noexcept {
    return withoutExceptions(false, [&] { return mountFolder(mount); });
}

BOOL unmountCard(WCHAR letter) noexcept {
    return withoutExceptions(false, [&] { return unmountFolder(letter); });
}

std::vector<CardMount> mountedCards() {
    return withoutExceptions(std::vector<CardMount>(), [] { return readCardMounts(); });
}
