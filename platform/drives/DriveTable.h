#pragma once
// The drives of the machine: folders that users mounted, volumes that have been given a letter, and
// `Z:`, which is the machine's own root folder. Mounted network shares have no letter;
// openShareFolder finds them by the names of their sources. All functions may be called on any
// thread.

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
    std::string folder;  ///< empty: no medium. The folder may have vanished.
    std::u16string label;
    std::string vendor, product;  ///< of the storage device, in UTF-8
};

/// All drives in the order of their letters. A folder that a user mounted is listed only under the
/// user's letter, even if a medium is mounted on it.
std::vector<Drive> listDrives();
std::optional<Drive> findDrive(WCHAR letter);

/// Opens the drive's folder (O_PATH). Empty with ERROR_PATH_NOT_FOUND if there is no such drive,
/// ERROR_ACCESS_DENIED if the caller may not open the folder, and ERROR_NOT_READY if there is no
/// medium or opening fails for another reason.
Descriptor openDriveFolder(WCHAR letter);

/// Opens the folder of a mounted network share if `path` begins with the names of its source, and
/// takes these names off `path`. The names may differ in case. If several mounts fit, the one whose
/// source has the most names is taken. Empty with ERROR_PATH_NOT_FOUND (no mount fits) or the error
/// of opening the folder.
Descriptor openShareFolder(std::vector<std::u16string_view>& path);

}  // namespace zlk::platform
