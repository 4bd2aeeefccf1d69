// Pass-through devices, such as docks, and the cameras that are plugged into them.

#include <memory>
#include <optional>

#include "directory/CContextMgrInfo.h"
#include "directory/CDeviceUtilFunctions.h"
#include "directory/CDirectorInfo.h"
#include "foundation/TraceLine.h"
#include "platform/text.h"
#include "ptp/ZlPTPdrv.h"

namespace zlk {
namespace {

constexpr char category[] = "CDeviceUtilFunctions";

/// One of the driver's operations for pass-through devices.
using Question = void (ZlPTPdrv::*)(std::uint32_t*, std::uint32_t*);

/// Whether the device is of the second kind, which connects its camera only when it is told to.
bool connectsOnDemand(const CCamInfo& row) {
    return equalIgnoringCase(row.DevType, u"PASSTHRU2");
}

/// Opens the device and asks it; ids of 0 if it doesn't answer.
void ask(const char* operation, const std::u16string& path, Question question, std::uint32_t& vid,
         std::uint32_t& pid) {
    vid = pid = 0;
    std::optional<ZlPTPdrv> device;  // destroyed after its answer is traced
    try {
        device.emplace(wString(path));
        ((*device).*question)(&vid, &pid);
    } catch (PTPCommErrors error) {
        TraceLine(category, "%s - PTPCommErrors (0x%x)", operation,
                  static_cast<std::uint32_t>(error));
        vid = pid = 0;
    }
    TraceLine(category, "%s - vid(0x%x) pid(0x%x)", operation, vid, pid);
}

}  // namespace

void CDeviceUtilFunctions::GetPassThruDeviceId(const std::u16string& port, std::uint32_t& vid,
                                               std::uint32_t& pid, bool firstForm) {
    TraceLine(category, "GetPassThruDeviceId");
    vid = pid = 0;
    if (!passThruCamInfo.valid || !passThruCamInfo.isPassThru()) return;
    const Question question = connectsOnDemand(passThruCamInfo) && !firstForm
                                  ? &ZlPTPdrv::ZLconnectedCameraId2
                                  : &ZlPTPdrv::ZLconnectedCameraId;
    ask("GetPassThruDeviceId", devicePath(port), question, vid, pid);
}

void CDeviceUtilFunctions::GetConnectedPassThruDeviceId(const std::u16string& port,
                                                        std::uint32_t& vid, std::uint32_t& pid) {
    TraceLine(category, "GetConnectedPassThruDeviceId");
    GetPassThruDeviceId(port, vid, pid, true);
    TraceLine(category, "GetConnectedPassThruDeviceId - vid(0x%x) pid(0x%x)", vid, pid);
}

void CDeviceUtilFunctions::ConnectWithPassThruCamera(const std::u16string& port, std::uint32_t& vid,
                                                     std::uint32_t& pid) {
    TraceLine(category, "ConnectWithPassThruCamera");
    if (!passThruCamInfo.valid || !passThruCamInfo.isPassThru() ||
        !connectsOnDemand(passThruCamInfo))
        return;
    ask("ConnectWithPassThruCamera", devicePath(port), &ZlPTPdrv::ZLpressSaveButton, vid, pid);
}

CCamInfo CDeviceUtilFunctions::PassThruCamInfoFromContextId(const std::u16string& id) const {
    std::u16string manufacturer, productClass, serial;
    CContextMgrInfo().SplitContextId(id, manufacturer, productClass, serial);
    return GetCameraList().FindByPassThruClass(productClass);
}

std::u16string CDeviceUtilFunctions::MapContextId(const std::u16string& id) {
    TraceLine(category, "MapContextId");
    if (PassThruCamInfoFromContextId(id).valid) return MapPassThruContextId(id);
    const CCamInfo row = GetCameraList().FindByContextId(id);
    if (!row.valid || !row.isCamera() || row.Cam_pnpID.empty()) return id;
    const std::uint16_t vid = VidFromDeviceId(row.Cam_pnpID);
    const std::uint16_t pid = PidFromDeviceId(row.Cam_pnpID);
    if (!findCameraPort(vid, pid, false).empty()) return id;
    // If the camera isn't on a port of its own, it may be plugged into a pass-through device. The
    // search sets `passThruCamInfo` to that device's row.
    const std::u16string port = findCameraPort(vid, pid, true);
    if (port.empty()) return id;
    std::uint32_t behindVid = 0, behindPid = 0;
    GetConnectedPassThruDeviceId(port, behindVid, behindPid);
    if (behindVid == 0) ConnectWithPassThruCamera(port, behindVid, behindPid);
    return id;
}

std::u16string CDeviceUtilFunctions::MapPassThruContextId(const std::u16string& id) {
    TraceLine(category, "MapPassThruContextId");
    const CCamInfo row = PassThruCamInfoFromContextId(id);
    if (!row.valid || row.Cam_pnpID.empty()) return id;
    TraceLine(category, "MapPassThruContextId1");
    const std::u16string port =
        findCameraPort(VidFromDeviceId(row.Cam_pnpID), PidFromDeviceId(row.Cam_pnpID), false);
    if (port.empty()) return id;
    TraceLine(category, "MapPassThruContextId2");
    // The search for the port has cleared `passThruCamInfo`.
    passThruCamInfo = row;
    std::uint32_t vid = 0, pid = 0;
    GetConnectedPassThruDeviceId(port, vid, pid);
    if (vid == 0 && connectsOnDemand(row)) ConnectWithPassThruCamera(port, vid, pid);
    if (vid == 0) return id;
    // Only a known camera gets an id of its own; it is registered like one that is plugged in
    // directly.
    const CCamInfo camera = GetCameraList().FindByVidPid(static_cast<std::uint16_t>(vid),
                                                         static_cast<std::uint16_t>(pid));
    if (!camera.valid || camera.isPassThru()) return id;
    std::u16string mapped = InstalledContextId(camera.contextId);
    CDirectorInfo().PutCameraEntry(camera.contextId, camera.FriendlyName);
    TraceLine(category, "MapPassThruContextId Exit");
    return mapped;
}

}  // namespace zlk
