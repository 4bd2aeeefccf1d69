#pragma once
// Drives: which letters there are, and what each stands for. Every call may come from any thread.
//
// A drive letter stands for the mount point of a medium or disc, for a reader without a mounted
// medium, or for a folder that a user mounted as a card; `Z:` is the machine's own root. A mounted
// volume keeps its letter, which is the same in all processes of the machine; `A` is never given.

#include <string>
#include <vector>

#include "platform/error.h"
#include "platform/types.h"

// The results of GetDriveTypeW.
inline constexpr UINT DRIVE_NO_ROOT_DIR = 1;
inline constexpr UINT DRIVE_REMOVABLE = 2;
inline constexpr UINT DRIVE_FIXED = 3;
inline constexpr UINT DRIVE_REMOTE = 4;
inline constexpr UINT DRIVE_CDROM = 5;

#pragma GCC visibility push(default)

/// The kind of the drive whose root is `root` (`E:\`, any case); DRIVE_NO_ROOT_DIR if there is no
/// such drive. A reader without a medium has its kind all the same, and so has a mounted folder
/// that has vanished.
UINT GetDriveTypeW(const WCHAR* root) noexcept;

/// Writes all drive roots (`E:\`) in the order of their letters, each with a terminator, and one
/// more terminator at the end. `room` is in units. The result is as on Windows: the units written
/// without the last terminator; with too little room, the units needed including the last
/// terminator; 0 on failure.
DWORD GetLogicalDriveStringsW(DWORD room, WCHAR* buffer) noexcept;

/// Reports label and file system of a drive with a medium; rooms are in units, and out arguments
/// may be null. 0 with ERROR_NOT_READY if there is no medium or its folder can't be reached,
/// ERROR_PATH_NOT_FOUND if there is no such drive, ERROR_INSUFFICIENT_BUFFER if a text doesn't fit.
BOOL GetVolumeInformationW(const WCHAR* root, WCHAR* label, DWORD labelRoom, DWORD* serialNumber,
                           DWORD* maximumComponentLength, DWORD* flags, WCHAR* fileSystem,
                           DWORD fileSystemRoom) noexcept;

/// A folder that a user mounts as a card (card_mounts.h).
struct CardMount {
    std::u16string folder;   ///< absolute path of this machine
    WCHAR letter = 0;        ///< `B` to `Y`; 0: the first free letter
    std::u16string label;    ///< at most 32 units
    std::u16string vendor;   ///< as the storage device would report it; at most 64 units
    std::u16string product;  ///< as for `vendor`
    bool cdrom = false;      ///< the drive passes for a disc drive
};

#pragma GCC visibility pop
