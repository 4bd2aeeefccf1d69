#include "camera_devices/CPTPCameraDev.h"

#include "camera_devices/DeviceOperation.h"
#include "camera_devices/OtherMakersDriver.h"
#include "directory/CDeviceUtilFunctions.h"
#include "directory/CSupportedCameraList.h"
#include "foundation/TraceLine.h"
#include "platform/system.h"
#include "ptp/ZlPTPdrv.h"

namespace zlk {
namespace {

constexpr char category[] = "CPTPCameraDev";

/// A session that another process or an earlier object has left open is as good as a new one.
bool meansOpenSession(PTPCommErrors error) {
    return error == PTP_INVALID_TRANSACTION_ID || error == PTP_SESSION_ALREADY_OPEN;
}

}  // namespace

CPTPCameraDev::CPTPCameraDev(const std::u16string& lowLevelId, std::u16string id)
    : contextId(std::move(id)) {
    TraceLine(category, "CPTPCameraDev(%s, %s)", lowLevelId, contextId);
    if (lowLevelId.empty()) return;
    vid = CDeviceUtilFunctions::VidFromDeviceId(lowLevelId);
    pid = CDeviceUtilFunctions::PidFromDeviceId(lowLevelId);
    // A table built anew also has the rows that were added after GetCameraList() built its own.
    camInfo = CSupportedCameraList().FindByVidPid(vid, pid);
}

CPTPCameraDev::~CPTPCameraDev() {
    TraceLine(category, "~CPTPCameraDev()");
}

bool CPTPCameraDev::CheckConnection() {
    return operationAnswer([&] {
        if (!ptp) FindAndOpenPort();
        return VerifyConnection();
    });
}

bool CPTPCameraDev::FindAndOpenPort() {
    TraceLine(category, "FindAndOpenPort");
    const std::u16string port = findCameraPortinRegistry();
    return !port.empty() && InstantiateConnection(port) && OpenCameraSession();
}

std::u16string CPTPCameraDev::findCameraPortinRegistry() {
    TraceLine(category, "findCameraPortinRegistry (%s)", contextId);
    return CDeviceUtilFunctions().ContextIdToCameraPort(contextId);
}

std::unique_ptr<PtpInterface> CPTPCameraDev::createDriver(const std::u16string& path) {
    // The maker's own models get the plain driver, whose commands they are known to accept.
    if (camInfo.isOtherMakers()) return std::make_unique<OtherMakersDriver>(wString(path));
    return std::make_unique<ZlPTPdrv>(wString(path));
}

bool CPTPCameraDev::InstantiateConnection(const std::u16string& port) {
    const std::int32_t number = GetPortNumberFromString(port);
    TraceLine(category, "InstantiateConnection port(%d)", number);
    if (!camInfo.isPtp()) return false;
    // The first driver family names its devices by number, the second by device paths.
    const std::u16string path = isVistaOrLater() ? port : formatText(u"\\\\.\\Usbscan%d", number);
    TraceLine(category, "Connect - constructing new ZlPTPdrv");
    try {
        ptp = createDriver(path);
        // The ids tell the driver which camera to expect at this port.
        ptp->setDeviceId(vid, pid);
    } catch (PTPCommErrors error) {
        if (!meansOpenSession(error)) {
            TraceLine(category, "InstantiateConnection - PTPCommErrors (0x%x)",
                      static_cast<std::uint32_t>(error));
            ptp.reset();
        }
    }
    if (ptp) return true;
    vid = pid = 0;
    return false;
}

std::int32_t CPTPCameraDev::GetPortNumberFromString(const std::u16string& port) {
    constexpr std::u16string_view front = u"USBSCAN";
    const std::u16string upper = upperCase(port);
    const std::size_t place = upper.find(front);
    if (place == upper.npos) return -1;
    const WCHAR* digits = upper.c_str() + place + front.size();
    const std::int32_t number = *digits >= u'0' && *digits <= u'9' ? _wtoi(digits) : -1;
    TraceLine(category, "GetPortNumberFromString in(%s) out(%d)", upper, number);
    return number;
}

bool CPTPCameraDev::OpenCameraSession() {
    TraceLine(category, "OpenCameraSession");
    TraceLine(category, "Connect - opening PTP session");
    try {
        ptp->openSession();
    } catch (PTPCommErrors error) {
        if (!meansOpenSession(error)) {
            TraceLine(category, "OpenCameraSession - PTPCommErrors (0x%x)",
                      static_cast<std::uint32_t>(error));
            ptp.reset();
        }
    }
    return ptp != nullptr;
}

bool CPTPCameraDev::VerifyConnection() {
    TraceLine(category, "VerifyConnection");
    return operationAnswer([&] {
        std::uint32_t foundVid = 0, foundPid = 0;
        return ptp && ptp->checkConnection(&foundVid, &foundPid);
    });
}

}  // namespace zlk
