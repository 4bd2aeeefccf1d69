#pragma once
// All drives of the machine: those that users mounted, those that the kernel tells of, and `Z:`.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/descriptor.h"
#include "platform/types.h"

namespace zlk::platform {

inline constexpr WCHAR machineLetter = u'Z';

struct Drive {
    WCHAR letter = 0;
    UINT type = 0;       ///< DRIVE_REMOVABLE, DRIVE_CDROM or DRIVE_FIXED
    std::string folder;  ///< empty: no medium. It may have vanished.
    std::u16string label;
    std::string vendor, product;
};

/// By letter. A folder that a user mounted isn't listed a second time for the medium that is
/// mounted on it.
std::vector<Drive> listDrives();
std::optional<Drive> findDrive(WCHAR letter);

/// The drive's folder; empty with ERROR_PATH_NOT_FOUND (no such drive), ERROR_NOT_READY (no
/// medium, or the folder has vanished) or ERROR_ACCESS_DENIED.
Descriptor openDriveFolder(WCHAR letter);

/// The folder of the mounted share that a path begins with, whose names are taken off it; the
/// longest that fits. Empty with ERROR_PATH_NOT_FOUND and the errors of opening it.
Descriptor openShareFolder(std::vector<std::u16string_view>& path);

}  // namespace zlk::platform
