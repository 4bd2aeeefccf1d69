#pragma once
// From one name of a device to another, and small questions about it.

#include <cstdint>
#include <string>
#include <vector>

#include "directory/CCamInfo.h"
#include "directory/CSupportedCameraList.h"

namespace zlk {

/// The class that works on every device without a class of its own.
inline constexpr WCHAR defaultDeviceProgId[] = u"ZlkCamTr.UnloadableCamera";

/// Made where it is needed; used by one thread. A translation that finds nothing gives the empty
/// text. Everything but the camera table is read anew on each call.
class CDeviceUtilFunctions {
  public:
    virtual ~CDeviceUtilFunctions() = default;

    /// The camera table of this process, built by the first caller and kept to the end. Safe for
    /// any thread. Throws std::bad_alloc where it can't be built; the next call tries again.
    static const CSupportedCameraList& GetCameraList();

    // -- translations

    /// How the device is reached now: a pnp id (`VID_xxxx&PID_xxxx`), a drive root or a network
    /// path; empty if it can't be reached.
    std::u16string ContextIdToLowLevelId(const std::u16string& id);
    /// The ProgID of the class that works on the device.
    std::u16string ContextIdToUnloadInterface(const std::u16string& id);
    /// The name to show: the registered one, else a volume's label and drive.
    std::u16string ContextIdToName(const std::u16string& id);
    /// From any text with `VID_xxxx` and `&PID_xxxx` in it, in any case.
    std::u16string CameraVidPidToContextId(const std::u16string& vidPid);
    /// The spelling of the id that the settings tree has; `id` itself if it isn't registered.
    std::u16string InstalledContextId(const std::u16string& id);

    // -- settings of a product class

    /// Upper case; empty if there is none.
    std::u16string ContextIdToCheckMediaMethod(const std::u16string& id);
    /// Extra passes of the walk over an empty volume.
    std::uint32_t ContextIdToFileEnumTimeout(const std::u16string& id);
    bool AllowDeleteForContextId(const std::u16string& id);

    // -- drives

    /// The roots of all drives, as in `E:\`.
    static std::vector<std::u16string> DriveRoots();
    /// The device on a drive; only the first character of `drive` counts.
    std::u16string DriveToContextId(const std::u16string& drive);
    /// A drive root or network path, as the drive mapper component knows it.
    std::u16string ContextIdToDriveLetter(const std::u16string& id);
    /// The device whose table row has the vendor and product strings of the volume.
    std::u16string VolumeToContextId(const std::u16string& drive);
    /// Vendor and product of the storage device behind a removable drive, trimmed and upper case.
    bool VolumeStrings(WCHAR letter, std::u16string& vendor, std::u16string& product);
    /// Whether the id is a drive's or a network path's own (`#...#RemovableDrive#E`).
    static bool isPseudoDriveId(const std::u16string& id);
    /// The root that such an id stands for, upper case; empty for any other id.
    static std::u16string PseudoDriveRoot(const std::u16string& id);
    /// The removable drive whose strings lead to the id.
    std::u16string RootFromUsbVolume(const std::u16string& id);
    /// Whether the device can be reached now.
    bool IsContextIdUnloadable(const std::u16string& id);
    bool IsDriveUnloadable(const std::u16string& path);

    // -- ports

    /// The port on which a USB device stands; with `passThru` the port of the device that has the
    /// camera of these ids behind it.
    std::u16string findCameraPort(std::uint16_t vid, std::uint16_t pid, bool passThru);
    std::u16string ContextIdToCameraPort(const std::u16string& id);
    /// From a pass-through device to the camera behind it; any other id comes back as it is.
    std::u16string MapContextId(const std::u16string& id);
    /// Gives each supported camera that stands on a port its instance entry.
    void AddCamerasToContextManager();

    /// 0 if the text doesn't hold `VID_` (or `&PID_`) with four hexadecimal digits behind it.
    static std::uint16_t VidFromDeviceId(const std::u16string& text);
    static std::uint16_t PidFromDeviceId(const std::u16string& text);
};

}  // namespace zlk
