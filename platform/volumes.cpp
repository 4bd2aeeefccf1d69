#include "platform/volumes.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/vfs.h>

#include <algorithm>
#include <cstring>

#include "platform/base/FileName.h"
#include "platform/base/PosixError.h"
#include "platform/base/WithoutExceptions.h"
#include "platform/drives/DriveTable.h"
#include "platform/text.h"

using namespace zlk::platform;

namespace {

/// The letter of `X:`, `X:\` or `X:/`; 0 for any other text.
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

/// Copies a text with its terminator; false where there is no room. A null buffer means that the
/// text isn't wanted.
bool give(std::u16string_view text, WCHAR* buffer, DWORD room) {
    if (!buffer) return true;
    if (text.size() >= room) return false;
    buffer[text.copy(buffer, text.size())] = 0;
    return true;
}

bool refuse(DWORD error) {
    SetLastError(error);
    return false;
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
        // Half of the file system's id takes the place of the serial number, which statfs() doesn't
        // report.
        if (serialNumber) std::memcpy(serialNumber, &system.f_fsid, sizeof *serialNumber);
        if (maximumComponentLength) *maximumComponentLength = 255;
        if (flags) *flags = 0;
        return true;
    });
}
