#include "camera_devices/VolumeUtils.h"

#include "foundation/TraceLine.h"
#include "platform/files.h"
#include "platform/named_objects.h"
#include "platform/system.h"

namespace zlk {
namespace {

constexpr char category[] = "VolumeUtils";

/// A handle by which the volume can be flushed.
HANDLE openVolume(WCHAR letter) noexcept {
    constexpr DWORD share = FILE_SHARE_READ | FILE_SHARE_WRITE;
    // Only systems of the NT family can open a volume by its device name. On all others the root
    // folder of the volume is opened.
    if (isNtFamily()) {
        const WCHAR volume[]{u'\\', u'\\', u'.', u'\\', letter, u':', 0};
        return CreateFileW(volume, GENERIC_WRITE, share, nullptr, OPEN_EXISTING,
                           FILE_ATTRIBUTE_READONLY, nullptr);
    }
    _flushall();
    const WCHAR root[]{letter, u':', u'\\', 0};
    return CreateFileW(root, GENERIC_READ | GENERIC_WRITE, share, nullptr, OPEN_EXISTING,
                       FILE_FLAG_BACKUP_SEMANTICS, nullptr);
}

}  // namespace

bool FlushDrive(WCHAR driveLetter) noexcept {
    TraceLine(category, "FlushDrive(%c:)", driveLetter);
    const UniqueHandle volume(openVolume(driveLetter));
    if (!volume) {
        TraceLine(category, "FlushDrive() - CreateFile Failed!!");
        return false;
    }
    if (!FlushFileBuffers(volume.get())) {
        TraceLine(category, "FlushDrive() - FlushFileBuffers Failed!! ErrorCode-0x%X",
                  GetLastError());
        return false;
    }
    return true;
}

}  // namespace zlk
