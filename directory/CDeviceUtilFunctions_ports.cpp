// Ports: on which one a camera is, and the registration of cameras that are attached.

#include <optional>

#include "directory/CDeviceUtilFunctions.h"
#include "directory/CDirectorInfo.h"
#include "foundation/Paths.h"
#include "foundation/Registry.h"
#include "foundation/TraceLine.h"
#include "platform/system.h"
#include "platform/text.h"
#include "ptp/ZlPTPdrv.h"

namespace zlk {
namespace {

constexpr char category[] = "CDeviceUtilFunctions";

// The device class keys of the first driver family and of the second.
constexpr WCHAR imageClassKey[] =
    u"SYSTEM\\CurrentControlSet\\Control\\Class\\{6bdd1fc6-810f-11d0-bec7-08002be2092f}";
constexpr WCHAR portableClassKey[] =
    u"SYSTEM\\CurrentControlSet\\Control\\Class\\{EEC5AD98-8080-425f-922A-DABF3DE3F69A}";
constexpr WCHAR ourProvider[] = u"Zephyr-Lanthorn";

/// The number that four hexadecimal digits after `key` make; 0 if they aren't there.
std::uint16_t hexBehind(const std::u16string& text, std::u16string_view key) {
    const std::u16string upper = upperCase(text);
    const std::size_t place = upper.find(key);
    if (place == std::u16string::npos) return 0;
    const std::u16string digits = upper.substr(place + key.size(), 4);
    unsigned number = 0;
    for (const WCHAR digit : digits) {
        if (digit >= u'0' && digit <= u'9') {
            number = number * 16 + (digit - u'0');
        } else if (digit >= u'A' && digit <= u'F') {
            number = number * 16 + (digit - u'A' + 10);
        } else {
            return 0;
        }
    }
    return digits.size() == 4 ? static_cast<std::uint16_t>(number) : 0;
}

/// A subkey of a device class key: a device, and the driver that serves it.
class DriverKey {
  public:
    DriverKey(HKEY classKey, const std::u16string& subKey)
        : name(subKey), key_(regOpenKey(classKey, subKey, KEY_READ)) {}

    std::u16string port() const { return text(u"CreateFileName").value_or(u""); }
    std::optional<std::u16string> deviceId() const { return text(u"MatchingDeviceId"); }
    bool isOurs() const {
        const auto provider = text(u"ProviderName");
        return provider && equalIgnoringCase(*provider, ourProvider);
    }

    const std::u16string name;

  private:
    std::optional<std::u16string> text(const WCHAR* value) const {
        std::u16string content;
        if (!regReadString(key_.get(), value, content)) return std::nullopt;
        return content;
    }
    RegistryKey key_;
};

/// Calls `visit` with each subkey of a device class key, until `visit` returns true.
template <class Visit>
void walkDrivers(const WCHAR* classKeyName, Visit visit) {
    const RegistryKey classKey = regOpenKey(HKEY_LOCAL_MACHINE, classKeyName, KEY_READ);
    const std::uint32_t count = regCountSubKeys(classKey.get());
    for (std::uint32_t i = 0; i < count; ++i)
        if (visit(DriverKey(classKey.get(), regEnumKeyName(classKey.get(), i)))) return;
}

CCamInfo rowOf(const std::u16string& deviceId) {
    return CDeviceUtilFunctions::GetCameraList().FindByVidPid(
        CDeviceUtilFunctions::VidFromDeviceId(deviceId),
        CDeviceUtilFunctions::PidFromDeviceId(deviceId));
}

/// The port that the shared table of device paths has for the ids in `deviceId`. The constructor of
/// ZlPTPdrv looks the port up, and opens it, too.
std::u16string portByIds(const char* operation, const std::u16string& deviceId) {
    std::u16string port;
    try {
        const ZlPTPdrv driver(CDeviceUtilFunctions::VidFromDeviceId(deviceId),
                              CDeviceUtilFunctions::PidFromDeviceId(deviceId));
        port = driver.getPortName().view();
    } catch (PTPCommErrors error) {
        TraceLine(category, "%s - PTPCommErrors (0x%x)", operation,
                  static_cast<std::uint32_t>(error));
    }
    TraceLine(category, "%s - portStr(%s)", operation, port);
    return port;
}

/// Registers the camera that `row` describes. If `row` is a pass-through device, the camera that is
/// plugged into the device is registered, if it is a known one, and never the device itself.
void enterCamera(CDeviceUtilFunctions& utils, const CCamInfo& row, const std::u16string& port) {
    CCamInfo camera = row;
    if (row.isPassThru() && !row.isCamera()) {
        utils.passThruCamInfo = row;
        std::uint32_t vid = 0, pid = 0;
        utils.GetPassThruDeviceId(port, vid, pid, false);
        camera = CCamInfo();
        if (vid != 0)
            camera = CDeviceUtilFunctions::GetCameraList().FindByVidPid(
                static_cast<std::uint16_t>(vid), static_cast<std::uint16_t>(pid));
    } else if (!row.isCamera()) {
        return;
    }
    if (camera.valid && !camera.isPassThru())
        CDirectorInfo().PutCameraEntry(camera.contextId, camera.FriendlyName);
}

}  // namespace

std::uint16_t CDeviceUtilFunctions::VidFromDeviceId(const std::u16string& text) {
    return hexBehind(text, u"VID_");
}

std::uint16_t CDeviceUtilFunctions::PidFromDeviceId(const std::u16string& text) {
    return hexBehind(text, u"&PID_");
}

std::int32_t CDeviceUtilFunctions::PortNumberFromPort(const std::u16string& text) {
    constexpr std::u16string_view front = u"USBSCAN";
    std::u16string rest = upperCase(text);
    const std::size_t place = rest.find(front);
    if (place == rest.npos) return -1;
    rest.erase(0, place);
    for (std::size_t at; (at = rest.find(front)) != rest.npos;) rest.erase(at, front.size());
    return _wtoi(trimmed(rest).c_str());
}

std::u16string CDeviceUtilFunctions::devicePath(const std::u16string& port) {
    return isVistaOrLater() ? port : formatText(u"\\\\.\\Usbscan%d", PortNumberFromPort(port));
}

std::u16string CDeviceUtilFunctions::findCameraPort(std::uint16_t vid, std::uint16_t pid,
                                                    bool passThru) {
    return isVistaOrLater() ? findCameraPortVista(vid, pid, passThru)
                            : findCameraPortWinXP(vid, pid, passThru);
}

bool CDeviceUtilFunctions::isFindCameraPortMatch(const std::u16string& devId,
                                                 const std::u16string& usbPort, std::uint16_t tVid,
                                                 std::uint16_t tPid, bool passThru) {
    TraceLine(category,
              "isFindCameraPortMatch devId(%s) usbPort(%s) tVid(0x%X) tPid(0x%X) "
              "passThru(%s)",
              devId, usbPort, tVid, tPid, passThru ? u"T" : u"F");
    // Whatever an earlier search has found must not stay if this one fails.
    passThruCamInfo = CCamInfo();
    // A driver whose key names no device is taken for the right one.
    const std::uint16_t vid = devId.empty() ? tVid : VidFromDeviceId(devId);
    const std::uint16_t pid = devId.empty() ? tPid : PidFromDeviceId(devId);
    if (!passThru) return vid == tVid && pid == tPid;
    const CCamInfo row = GetCameraList().FindByVidPid(vid, pid);
    if (!row.valid || !row.isPassThru()) return false;
    passThruCamInfo = row;
    std::uint32_t behindVid = 0, behindPid = 0;
    GetPassThruDeviceId(usbPort, behindVid, behindPid, false);
    return behindVid != 0 && behindVid == tVid && behindPid == tPid;
}

std::u16string CDeviceUtilFunctions::findCameraPortWinXP(std::uint16_t vid, std::uint16_t pid,
                                                         bool passThru) {
    TraceLine(category, "findCameraPortWinXP");
    std::u16string found;
    walkDrivers(imageClassKey, [&](const DriverKey& driver) {
        TraceLine(category, "findCameraPortNT - devIdKeyName(%s)", driver.name);
        const std::u16string port = driver.port();
        TraceLine(category, "findCameraPortNT - usbPort (%s)", port);
        const auto deviceId = driver.deviceId();
        // A key without a port has no device; a driver of another provider isn't used.
        if (port.empty() || !deviceId || !driver.isOurs()) return false;
        if (isFindCameraPortMatch(*deviceId, port, vid, pid, passThru)) found = port;
        TraceLine(category, "findCameraPortNT - FoundActiveDriver (%s)", *deviceId);
        return !found.empty();
    });
    return found;
}

std::u16string CDeviceUtilFunctions::findCameraPortVista(std::uint16_t vid, std::uint16_t pid,
                                                         bool passThru) {
    TraceLine(category, "findCameraPortVista");
    std::u16string found;
    walkDrivers(portableClassKey, [&](const DriverKey& driver) {
        // Here the drivers of all providers count, as long as the table has the camera's port.
        const auto deviceId = driver.deviceId();
        if (!deviceId || !rowOf(*deviceId).valid) return false;
        const std::u16string port = portByIds("findCameraPortVista", *deviceId);
        if (!port.empty() && isFindCameraPortMatch(*deviceId, port, vid, pid, passThru))
            found = port;
        return !found.empty();
    });
    return found;
}

std::u16string CDeviceUtilFunctions::ContextIdToCameraPort(const std::u16string& id) {
    TraceLine(category, "ContextIdToCameraPort (%s)", id);
    const CCamInfo row = GetCameraList().FindByContextId(id);
    if (!row.valid || row.Cam_pnpID.empty()) return {};
    const std::uint16_t vid = VidFromDeviceId(row.Cam_pnpID);
    const std::uint16_t pid = PidFromDeviceId(row.Cam_pnpID);
    // A camera on a port of its own is preferred to one in a pass-through device.
    std::u16string port = findCameraPort(vid, pid, false);
    if (port.empty()) port = findCameraPort(vid, pid, true);
    TraceLine(category, "ContextIdToCameraPort (%s)->(%s)", id, port);
    return port;
}

void CDeviceUtilFunctions::AddCamerasToContextManager() {
    TraceLine(category, "AddCamerasToContextManager");
    if (isVistaOrLater()) return AddCamerasToContextManagerVista();
    walkDrivers(imageClassKey, [&](const DriverKey& driver) {
        const std::u16string port = driver.port();
        const auto deviceId = driver.deviceId();
        if (port.empty() || !deviceId || !driver.isOurs()) return false;
        const CCamInfo row = rowOf(*deviceId);
        if (row.valid) enterCamera(*this, row, port);
        return false;
    });
}

void CDeviceUtilFunctions::AddCamerasToContextManagerVista() {
    TraceLine(category, "AddCamerasToContextManagerVista");
    walkDrivers(portableClassKey, [&](const DriverKey& driver) {
        const auto deviceId = driver.deviceId();
        if (!deviceId || !driver.isOurs()) return false;
        const CCamInfo row = rowOf(*deviceId);
        if (!row.valid) return false;
        // Keys may stay after their devices are gone; only a device with a port is attached.
        const std::u16string port = portByIds("AddCamerasToContextManagerVista", *deviceId);
        if (!port.empty()) enterCamera(*this, row, port);
        return false;
    });
}

}  // namespace zlk
