#include "directory/CDeviceUtilFunctions.h"

#include "directory/CContextMgrInfo.h"
#include "foundation/TraceLine.h"
#include "platform/immortal.h"

namespace zlk {
namespace {

constexpr char category[] = "CDeviceUtilFunctions";

struct SharedCameraList {
    SharedCameraList() { TraceLine(category, "Creating new Camera List"); }
    CSupportedCameraList list;
};

}  // namespace

const CSupportedCameraList& CDeviceUtilFunctions::GetCameraList() {
    static Immortal<SharedCameraList> shared;
    return shared->list;
}

std::u16string CDeviceUtilFunctions::ContextIdToLowLevelId(const std::u16string& id) {
    TraceLine(category, "ContextIdToLowLevelId (%s)", id);
    // The id may name a drive itself. Otherwise the device is looked for as a camera on USB, then
    // as a volume with a known camera's strings, and at last by the drive mapper.
    std::u16string root = PseudoDriveRoot(id);
    if (!root.empty()) return root;
    if (!ContextIdToCameraPort(id).empty()) {
        std::u16string pnpId = GetCameraList().FindByContextId(id).Cam_pnpID;
        if (!pnpId.empty()) return pnpId;
    }
    root = RootFromUsbVolume(id);
    if (!root.empty()) return root;
    return ContextIdToDriveLetter(InstalledContextId(id));
}

std::u16string CDeviceUtilFunctions::ContextIdToUnloadInterface(const std::u16string& id) {
    const CContextMgrInfo settings;
    std::u16string progId = settings.GetUnloadProgId(id);
    if (!progId.empty()) return progId;
    const bool known = !settings.GetStorageId(id).empty() ||
                       GetCameraList().FindByContextId(id).valid || isPseudoDriveId(id);
    return known ? defaultDeviceProgId : u"";
}

std::u16string CDeviceUtilFunctions::CameraVidPidToContextId(const std::u16string& vidPid) {
    const CCamInfo row =
        GetCameraList().FindByVidPid(VidFromDeviceId(vidPid), PidFromDeviceId(vidPid));
    return row.valid ? InstalledContextId(row.contextId) : std::u16string();
}

std::u16string CDeviceUtilFunctions::InstalledContextId(const std::u16string& id) {
    std::u16string result = id;
    for (std::u16string& installed : CContextMgrInfo().GetInstalledContextIds()) {
        if (equalIgnoringCase(installed, id)) result = std::move(installed);
    }
    return result;
}

std::u16string CDeviceUtilFunctions::ContextIdToCheckMediaMethod(const std::u16string& id) {
    std::u16string method = CContextMgrInfo().GetCheckMediaMethod(id);
    TraceLine(category, "ContextIdToCheckMediaMethod(%s)->(%s)", id, method);
    return method;
}

std::uint32_t CDeviceUtilFunctions::ContextIdToFileEnumTimeout(const std::u16string& id) {
    const std::uint32_t passes = CContextMgrInfo().GetFileEnumTimeout(id);
    TraceLine(category, "ContextIdToFileEnumTimeout(%s)->(%d)", id, passes);
    return passes;
}

bool CDeviceUtilFunctions::AllowDeleteForContextId(const std::u16string& id) {
    const bool allowed = CContextMgrInfo().GetAllowDelete(id);
    TraceLine(category, "AllowDeleteForContextId(%s)->(%s)", id, allowed ? u"T" : u"F");
    return allowed;
}

}  // namespace zlk
