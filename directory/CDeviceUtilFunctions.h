#pragma once
// Translates one name of a device into another, and answers small questions about devices. Also
// registers attached cameras, tells docks to connect their cameras, and records diagnostics.

#include <cstdint>
#include <string>
#include <vector>

#include "directory/CCamInfo.h"
#include "directory/CSupportedCameraList.h"

namespace zlk {

/// The class that handles every device for which no other class is set.
inline constexpr WCHAR defaultDeviceProgId[] = u"ZlkCamTr.UnloadableCamera";

/// An object is for one thread. A translation that finds nothing returns an empty text, but
/// InstalledContextId() and the Map functions return the id unchanged. Everything but the camera
/// table is read anew on each call. All functions may throw std::bad_alloc.
class CDeviceUtilFunctions {
  public:
    virtual ~CDeviceUtilFunctions() = default;

    /// The camera table of this process, which the first caller builds and which is never
    /// destroyed. From any thread. Throws std::bad_alloc if it can't be built; the next call tries
    /// again.
    static const CSupportedCameraList& GetCameraList();

    // Translations

    /// How the device can be reached now: a pnp id (`VID_xxxx&PID_xxxx`), a drive root or a network
    /// path. Empty if it can't be reached. The root or path that an id itself names isn't checked.
    std::u16string ContextIdToLowLevelId(const std::u16string& id);
    /// The ProgID of the class that handles the device; empty for an unknown device.
    std::u16string ContextIdToUnloadInterface(const std::u16string& id);
    /// The name to be shown: the registered one, if there is one. Otherwise an id that
    /// isPseudoDriveId() accepts gives the volume's label with the drive letter, or the drive's
    /// root if there is no label. If the id's serial number has a dot as its second character, it
    /// is a path, and the path is the name. Any other id gives an empty text.
    std::u16string ContextIdToName(const std::u16string& id);
    /// The context id of the camera with the USB ids in `vidPid`, a text that has `VID_xxxx` and
    /// `&PID_xxxx` in it, in upper or lower case.
    std::u16string CameraVidPidToContextId(const std::u16string& vidPid);
    /// The id as it is spelled in the settings tree; `id` itself if it isn't registered.
    std::u16string InstalledContextId(const std::u16string& id);

    // Settings of a product class

    /// These are the settings that CContextMgrInfo reads, with a line in the trace.
    std::u16string ContextIdToCheckMediaMethod(const std::u16string& id);
    std::uint32_t ContextIdToFileEnumTimeout(const std::u16string& id);
    bool AllowDeleteForContextId(const std::u16string& id);

    // Drives (CDeviceUtilFunctions_drives.cpp)

    /// The roots of all drives, such as `E:\`.
    static std::vector<std::u16string> DriveRoots();
    /// The device on a drive. Only the first character of `drive` counts; it should be in upper
    /// case, since the drive of a registered device is compared in the exact case.
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
    /// The drive root or path, in upper case, of an id that isPseudoDriveId() accepts. Empty for
    /// any other id, and for an id that ends with neither a path nor a drive letter.
    static std::u16string PseudoDriveRoot(const std::u16string& id);
    /// The root of the removable drive whose vendor and product strings belong to the id.
    std::u16string RootFromUsbVolume(const std::u16string& id);
    /// Whether the device can be reached now. If `VID` stands in its low-level id, but not at the
    /// start, the device is a camera that has to be plugged into a pass-through device. For any
    /// other low-level id IsDriveUnloadable() decides.
    bool IsContextIdUnloadable(const std::u16string& id);
    /// False if `path` is empty or leads to a file. A path that doesn't exist gives true. Unless it
    /// is a network path, only the first character of `path` counts, as a drive letter.
    bool IsDriveUnloadable(const std::u16string& path);

    // Ports (CDeviceUtilFunctions_ports.cpp)
    //
    // Each driver family (see isVistaOrLater()) has a device class key in the registry. The key has
    // a subkey for each device that is attached, and may have others for devices that are gone. In
    // the first family's key, a subkey has the port itself. In the second's, a subkey has only the
    // ids of the device, by which the port is looked up in the shared table of device paths.

    /// The port of a USB device with these ids. With `passThru`, the port of the pass-through
    /// device that a camera with these ids is plugged into; the device's row is in
    /// `passThruCamInfo` until the next search. Empty if there is no such port.
    std::u16string findCameraPort(std::uint16_t vid, std::uint16_t pid, bool passThru);
    std::u16string findCameraPortWinXP(std::uint16_t vid, std::uint16_t pid, bool passThru);
    std::u16string findCameraPortVista(std::uint16_t vid, std::uint16_t pid, bool passThru);
    /// Whether the device with the id `devId` on `usbPort` is the one that findCameraPort() seeks.
    /// Without `passThru` that is a device with the ids `tVid` and `tPid`; with `passThru`, a pass-
    /// through device into which a camera with the ids `tVid` and `tPid` is plugged. An empty
    /// `devId` counts as the id of a device with the ids `tVid` and `tPid`. With `passThru`,
    /// `passThruCamInfo` receives the device's row if the device is a pass-through device. In all
    /// other cases it is cleared.
    bool isFindCameraPortMatch(const std::u16string& devId, const std::u16string& usbPort,
                               std::uint16_t tVid, std::uint16_t tPid, bool passThru);
    std::u16string ContextIdToCameraPort(const std::u16string& id);
    /// Registers an instance for each supported camera that is attached.
    void AddCamerasToContextManager();
    void AddCamerasToContextManagerVista();

    // Pass-through devices (CDeviceUtilFunctions_passThru.cpp)
    //
    // A pass-through device is a dock that a camera is plugged into. Only the dock has a port, and
    // the dock can be asked for the ids of the camera. Ids of 0 mean that there is no camera, or
    // that the dock doesn't answer.
    //
    // There are two kinds of pass-through devices. One of the first kind connects its camera by
    // itself. One of the second kind (DevType PASSTHRU2) connects it only when it is told to.

    /// Maps the id of a pass-through device to the id of its camera, if the camera is a known one;
    /// the camera is then registered. In any other case the id is returned unchanged. If the id is
    /// that of a device of the second kind, or of a camera plugged into such a device, the device
    /// is told to connect its camera, unless it has done so already.
    std::u16string MapContextId(const std::u16string& id);
    std::u16string MapPassThruContextId(const std::u16string& id);
    CCamInfo PassThruCamInfoFromContextId(const std::u16string& id) const;
    /// Asks the pass-through device on `port`, whose row must be in `passThruCamInfo`, for the ids
    /// of its camera. A device of the second kind may report a camera that it hasn't connected yet,
    /// unless `firstForm` is true.
    void GetPassThruDeviceId(const std::u16string& port, std::uint32_t& vid, std::uint32_t& pid,
                             bool firstForm);
    void GetConnectedPassThruDeviceId(const std::u16string& port, std::uint32_t& vid,
                                      std::uint32_t& pid);
    /// Makes a device of the second kind connect its camera, whose ids are then in `vid` and `pid`.
    /// For other devices this does nothing, and the ids stay as they were.
    void ConnectWithPassThruCamera(const std::u16string& port, std::uint32_t& vid,
                                   std::uint32_t& pid);

    // Diagnostics (CDeviceUtilFunctions_diagnostics.cpp)

    /// Reports each group of values in a camera's diagnostics document as an event, and stores the
    /// camera's firmware version in the registry. Does nothing if the document isn't well-formed,
    /// or lacks the model, the firmware version or the serial number.
    void logDiagnostics(const std::u16string& contextId, const std::u16string& xml);

    /// The number after `VID_` or `&PID_`; 0 if no four hexadecimal digits follow.
    static std::uint16_t VidFromDeviceId(const std::u16string& text);
    static std::uint16_t PidFromDeviceId(const std::u16string& text);
    /// The number after `USBSCAN`; -1 for a text without this word, 0 if no number follows.
    static std::int32_t PortNumberFromPort(const std::u16string& text);

    /// The row of the pass-through device to work with. GetPassThruDeviceId() and
    /// ConnectWithPassThruCamera() need it.
    CCamInfo passThruCamInfo;

  private:
    /// The path by which the port is opened.
    static std::u16string devicePath(const std::u16string& port);
    /// Stores the firmware version below the maker's key in the registry, if that key exists.
    void recordFirmware(const std::u16string& contextId, const std::u16string& firmware);
    /// Reports an event. `value` is inserted into `detail`, unless it is empty.
    void reportDiagnostic(std::int32_t eventId, const std::u16string& prefix,
                          const std::u16string& detail, const std::u16string& value);
};

}  // namespace zlk
