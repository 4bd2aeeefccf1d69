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

    // -- ports (CDeviceUtilFunctions_ports.cpp)
    //
    // What is attached stands in the device class keys, a subkey for each driver. On the first
    // family a key has the port itself; on the second the port comes from the shared table of
    // device paths, by the ids of the key.

    /// The port on which a USB device stands; with `passThru` the port of the device that has the
    /// camera of these ids behind it. Empty if there is none.
    std::u16string findCameraPort(std::uint16_t vid, std::uint16_t pid, bool passThru);
    std::u16string findCameraPortWinXP(std::uint16_t vid, std::uint16_t pid, bool passThru);
    std::u16string findCameraPortVista(std::uint16_t vid, std::uint16_t pid, bool passThru);
    /// Whether the key of `devId` stands for the device that is sought.
    bool isFindCameraPortMatch(const std::u16string& devId, const std::u16string& usbPort,
                               std::uint16_t tVid, std::uint16_t tPid, bool passThru);
    std::u16string ContextIdToCameraPort(const std::u16string& id);
    /// Gives each supported camera that is attached its instance entry.
    void AddCamerasToContextManager();
    void AddCamerasToContextManagerVista();

    // -- pass-through devices (CDeviceUtilFunctions_passThru.cpp)
    //
    // A device that a camera is plugged into; only it stands on a port, and it tells the ids of
    // the camera behind it. Ids of 0: nothing is behind it, or it doesn't answer.

    /// The id to work with: from a pass-through device to the camera behind it; any other id comes
    /// back as it is, and a camera behind a device has been connected by then.
    std::u16string MapContextId(const std::u16string& id);
    std::u16string MapPassThruContextId(const std::u16string& id);
    CCamInfo PassThruCamInfoFromContextId(const std::u16string& id) const;
    /// Asks the device on `port`, whose row is `passThruCamInfo`. `firstForm`: what is connected
    /// now, also on a device that tells more while it is being looked for.
    void GetPassThruDeviceId(const std::u16string& port, std::uint32_t& vid, std::uint32_t& pid,
                             bool firstForm);
    void GetConnectedPassThruDeviceId(const std::u16string& port, std::uint32_t& vid,
                                      std::uint32_t& pid);
    /// Has a device of the second kind make the connection; others have no such step, and the ids
    /// stay as they were.
    void ConnectWithPassThruCamera(const std::u16string& port, std::uint32_t& vid,
                                   std::uint32_t& pid);

    // -- diagnostics (CDeviceUtilFunctions_diagnostics.cpp)

    /// Takes a camera's diagnostics document apart: an event for each group of its values, and its
    /// firmware in the settings tree. A document without model, firmware and serial number, or
    /// none at all, says nothing.
    void logDiagnostics(const std::u16string& contextId, const std::u16string& xml);

    /// 0 if the text doesn't hold `VID_` (or `&PID_`) with four hexadecimal digits behind it.
    static std::uint16_t VidFromDeviceId(const std::u16string& text);
    static std::uint16_t PidFromDeviceId(const std::u16string& text);
    /// -1 if the text holds no `USBSCAN`, 0 if no number stands behind it.
    static std::int32_t PortNumberFromPort(const std::u16string& text);

    /// The row of the pass-through device that is worked with; whoever calls an operation on one
    /// sets it first.
    CCamInfo passThruCamInfo;

  private:
    /// The device's path in the form that opens it.
    static std::u16string devicePath(const std::u16string& port);
    void recordFirmware(const std::u16string& contextId, const std::u16string& firmware);
    /// An empty `value` leaves `detail` as it stands.
    void reportDiagnostic(std::int32_t eventId, const std::u16string& prefix,
                          const std::u16string& detail, const std::u16string& value);
};

}  // namespace zlk
