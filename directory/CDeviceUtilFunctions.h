#pragma once
// Translates one name of a device into another, and answers small questions about devices.

#include <cstdint>
#include <string>
#include <vector>

#include "directory/CCamInfo.h"
#include "directory/CSupportedCameraList.h"

namespace zlk {

/// The class that handles every device for which no other class is set.
inline constexpr WCHAR defaultDeviceProgId[] = u"ZlkCamTr.UnloadableCamera";

/// A short-lived object for one thread. A translation that finds nothing returns an empty text.
/// Everything but the camera table is read anew on each call. All functions may throw
/// std::bad_alloc.
class CDeviceUtilFunctions {
  public:
    virtual ~CDeviceUtilFunctions() = default;

    /// The camera table of this process, which the first caller builds and which is never
    /// destroyed. From any thread. Throws std::bad_alloc if it can't be built; the next call tries
    /// again.
    static const CSupportedCameraList& GetCameraList();

    // -- translations

    /// How the device can be reached now: a pnp id (`VID_xxxx&PID_xxxx`), a drive root or a network
    /// path. Empty if it can't be reached. The root or path that an id itself names isn't checked.
    std::u16string ContextIdToLowLevelId(const std::u16string& id);
    /// The ProgID of the class that handles the device; empty for an unknown device.
    std::u16string ContextIdToUnloadInterface(const std::u16string& id);
    /// The name to be shown: the registered one, or else, for the id of a drive, the volume's label
    /// and drive letter, or only its root if it has no label.
    std::u16string ContextIdToName(const std::u16string& id);
    /// The context id for any text with `VID_xxxx` and `&PID_xxxx` in it, in any case.
    std::u16string CameraVidPidToContextId(const std::u16string& vidPid);
    /// The id as it is spelled in the settings tree; `id` itself if it isn't registered.
    std::u16string InstalledContextId(const std::u16string& id);

    // -- settings of a product class

    /// These are the settings that CContextMgrInfo reads, with a line in the trace.
    std::u16string ContextIdToCheckMediaMethod(const std::u16string& id);
    std::uint32_t ContextIdToFileEnumTimeout(const std::u16string& id);
    bool AllowDeleteForContextId(const std::u16string& id);

    // -- drives

    /// The roots of all drives, such as `E:\`.
    static std::vector<std::u16string> DriveRoots();
    /// The device on a drive; only the first character of `drive` counts.
    std::u16string DriveToContextId(const std::u16string& drive);
    /// The drive root or network path that the drive mapper component has for the id.
    std::u16string ContextIdToDriveLetter(const std::u16string& id);
    /// The device whose row in the camera table has the vendor and product strings of the volume.
    std::u16string VolumeToContextId(const std::u16string& drive);
    /// Vendor and product of the storage device that a removable drive is on, trimmed and in upper
    /// case. False if they can't be read.
    bool VolumeStrings(WCHAR letter, std::u16string& vendor, std::u16string& product);
    /// Whether the id stands for a drive or a network path itself, such as `#...#RemovableDrive#E`.
    static bool isPseudoDriveId(const std::u16string& id);
    /// The root, in upper case, that such an id stands for; empty for any other id.
    static std::u16string PseudoDriveRoot(const std::u16string& id);
    /// The removable drive whose vendor and product strings belong to the id.
    std::u16string RootFromUsbVolume(const std::u16string& id);
    /// Whether the device can be reached now, that is, has a low-level id. A path counts as
    /// reachable unless it is a file's, even if its drive is empty or doesn't exist.
    bool IsContextIdUnloadable(const std::u16string& id);
    bool IsDriveUnloadable(const std::u16string& path);

    // -- ports (CDeviceUtilFunctions_ports.cpp)
    //
    // The device class keys of the settings tree have a subkey for each device that is attached,
    // and perhaps stored ones of devices that are gone. On the first driver family a subkey has the
    // port itself. On the second, the port comes from the shared table of device paths, in which it
    // is looked up by the ids of the subkey.

    /// The port of a USB device with these ids. With `passThru`, the port of the pass-through
    /// device that such a camera is plugged into, whose row then is in `passThruCamInfo`. Empty if
    /// there is none.
    std::u16string findCameraPort(std::uint16_t vid, std::uint16_t pid, bool passThru);
    std::u16string findCameraPortWinXP(std::uint16_t vid, std::uint16_t pid, bool passThru);
    std::u16string findCameraPortVista(std::uint16_t vid, std::uint16_t pid, bool passThru);
    /// Whether the driver with this device id is the one that is sought.
    bool isFindCameraPortMatch(const std::u16string& devId, const std::u16string& usbPort,
                               std::uint16_t tVid, std::uint16_t tPid, bool passThru);
    std::u16string ContextIdToCameraPort(const std::u16string& id);
    /// Registers an instance for each supported camera that is attached.
    void AddCamerasToContextManager();
    void AddCamerasToContextManagerVista();

    // -- pass-through devices (CDeviceUtilFunctions_passThru.cpp)
    //
    // A pass-through device is a dock that a camera is plugged into. Only the dock has a port; it
    // can be asked for the ids of the camera. Ids of 0 mean that there is no camera, or that the
    // dock doesn't answer.

    /// The id to work with. A pass-through device's id is mapped to that of the camera that is
    /// plugged into it, if that is a known one; other ids are returned unchanged. A camera that is
    /// plugged into a device of the second kind is also connected.
    std::u16string MapContextId(const std::u16string& id);
    std::u16string MapPassThruContextId(const std::u16string& id);
    CCamInfo PassThruCamInfoFromContextId(const std::u16string& id) const;
    /// Asks the device on `port`, whose row is `passThruCamInfo`. `firstForm`: asks for the camera
    /// that is connected now, even on a device of the second kind, which could also report one that
    /// isn't.
    void GetPassThruDeviceId(const std::u16string& port, std::uint32_t& vid, std::uint32_t& pid,
                             bool firstForm);
    void GetConnectedPassThruDeviceId(const std::u16string& port, std::uint32_t& vid,
                                      std::uint32_t& pid);
    /// Makes a device of the second kind connect its camera. For other devices this does nothing,
    /// and the ids stay as they were.
    void ConnectWithPassThruCamera(const std::u16string& port, std::uint32_t& vid,
                                   std::uint32_t& pid);

    // -- diagnostics (CDeviceUtilFunctions_diagnostics.cpp)

    /// Reports each group of values in a camera's diagnostics document as an event, and stores the
    /// camera's firmware version in the settings tree. Does nothing without a document, or if it
    /// lacks model, firmware or serial number.
    void logDiagnostics(const std::u16string& contextId, const std::u16string& xml);

    /// The number after `VID_` or `&PID_`; 0 if no four hexadecimal digits follow.
    static std::uint16_t VidFromDeviceId(const std::u16string& text);
    static std::uint16_t PidFromDeviceId(const std::u16string& text);
    /// The number after `USBSCAN`; -1 if the text doesn't have that, 0 if no number follows.
    static std::int32_t PortNumberFromPort(const std::u16string& text);

    /// The row of the pass-through device to work with. The functions above that talk to one need
    /// it to be set.
    CCamInfo passThruCamInfo;

  private:
    /// The port in the form that opens it.
    static std::u16string devicePath(const std::u16string& port);
    /// Stores the firmware version below the maker's key of the settings.
    void recordFirmware(const std::u16string& contextId, const std::u16string& firmware);
    /// Reports an event. `value` is inserted into `detail`, unless it is empty.
    void reportDiagnostic(std::int32_t eventId, const std::u16string& prefix,
                          const std::u16string& detail, const std::u16string& value);
};

}  // namespace zlk
