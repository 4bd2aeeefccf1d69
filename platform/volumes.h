#pragma once
// Drives: which there are, and what they are.
//
// A drive letter stands for a mount point of removable media or a disc, for a reader that has no
// medium, or for a folder that a user mounted as a card; `Z:` is the machine's own root. A letter
// stays with its volume while it is mounted, in all processes alike; `A` is never given.

#include <string>
#include <vector>

#include "platform/error.h"
#include "platform/types.h"

inline constexpr UINT DRIVE_NO_ROOT_DIR = 1;
inline constexpr UINT DRIVE_REMOVABLE = 2;
inline constexpr UINT DRIVE_FIXED = 3;
inline constexpr UINT DRIVE_REMOTE = 4;
inline constexpr UINT DRIVE_CDROM = 5;

#pragma GCC visibility push(default)

/// The kind of the drive of `root` (`E:\`, any case); DRIVE_NO_ROOT_DIR where there is none.
/// Removable also for a reader without a card and for a mounted folder that has vanished; a disc
/// drive stays one without its disc.
UINT GetDriveTypeW(const WCHAR* root) noexcept;

/// All drive roots (`E:\`) by letter, each with a terminator, and one terminator more. Result as
/// Windows has it: units without the last terminator; with too little room the units needed with
/// it; 0 on failure.
DWORD GetLogicalDriveStringsW(DWORD room, WCHAR* buffer) noexcept;

/// Label and file system of a drive with a medium. 0 with ERROR_NOT_READY where there is no
/// medium or the folder has vanished, ERROR_PATH_NOT_FOUND where there is no such drive,
/// ERROR_INSUFFICIENT_BUFFER where a text doesn't fit. Out arguments may be null.
BOOL GetVolumeInformationW(const WCHAR* root, WCHAR* label, DWORD labelRoom, DWORD* serialNumber,
                           DWORD* maximumComponentLength, DWORD* flags, WCHAR* fileSystem,
                           DWORD fileSystemRoom) noexcept;

/// A folder that a user mounts as a card.
struct CardMount {
    std::u16string folder;  ///< absolute path of this machine
    WCHAR letter = 0;       ///< `B` to `Y`; 0: the first free one
    std::u16string label;   ///< at most 32 units
    std::u16string vendor;  ///< as the storage device would report it; may be empty
    std::u16string product;
    bool cdrom = false;
};

#pragma GCC visibility pop
