#include "directory/CDeviceList.h"

#include "directory/CContextMgrInfo.h"
#include "directory/CDeviceUtilFunctions.h"
#include "directory/Delegate.h"
#include "directory/DeviceInfoList.h"
#include "foundation/ComponentText.h"
#include "foundation/TraceLine.h"
#include "platform/volumes.h"

namespace zlk {
namespace {

constexpr char category[] = "IDeviceList";
constexpr WCHAR shareProgId[] = u"ZlkCamTr.SPostDevice";

}  // namespace

CDeviceList::CDeviceList()
    : delegateList(
          createDelegate<IDeviceList>(CContextMgrInfo().GetDevListProgId(), CLSID_DeviceList)) {}

HRESULT CDeviceList::get_UnloadDevices(BSTR* pVal) noexcept {
    if (delegateList) return delegateList->get_UnloadDevices(pVal);
    return guardedText(pVal, [] {
        DeviceInfoList list;
        CDeviceUtilFunctions utils;
        // Cameras that have just been plugged in are registered first, and then listed like all
        // others.
        utils.AddCamerasToContextManager();
        for (const std::u16string& id : CContextMgrInfo().GetInstalledContextIds()) {
            const std::u16string progId = utils.ContextIdToUnloadInterface(id);
            if (!progId.empty() && utils.IsContextIdUnloadable(id))
                list.addDevice(id, utils.ContextIdToName(id), progId);
        }
        addDrives(list);
        std::u16string xml = list.getXml();
        TraceLine(category, "get_UnloadDevices: %s", xml);
        return xml;
    });
}

HRESULT CDeviceList::get_SwiftPostDevices(BSTR* pVal) noexcept {
    if (delegateList) return delegateList->get_SwiftPostDevices(pVal);
    return guardedText(pVal, [] {
        DeviceInfoList list;
        const CContextMgrInfo settings;
        // The table is built anew, since the shared one lacks rows that were added after it was
        // built.
        const CSupportedCameraList cameras;
        for (const std::u16string& id : settings.GetInstalledContextIds()) {
            std::u16string progId = settings.GetSwiftPostProgId(id);
            if (progId.empty()) {
                const CCamInfo row = cameras.FindByContextId(id);
                if (row.valid && row.SwiftPostSupport) progId = shareProgId;
            }
            if (!progId.empty()) list.addDevice(id, settings.GetFriendlyName(id), progId);
        }
        std::u16string xml = list.getXml();
        TraceLine(category, "get_SwiftPostDevices: %s", xml);
        return xml;
    });
}

HRESULT CDeviceList::get_TagDevices(BSTR* pVal) noexcept {
    if (delegateList) return delegateList->get_TagDevices(pVal);
    return guardedText(pVal, [] {
        DeviceInfoList list;
        const CContextMgrInfo settings;
        for (const std::u16string& id : settings.GetInstalledContextIds()) {
            const std::u16string progId = settings.GetTagProgId(id);
            if (!progId.empty()) list.addDevice(id, settings.GetFriendlyName(id), progId);
        }
        std::u16string xml = list.getXml();
        TraceLine(category, "get_TagDevices: %s", xml);
        return xml;
    });
}

void CDeviceList::addDrives(DeviceInfoList& list) {
    CDeviceUtilFunctions utils;
    for (const std::u16string& root : CDeviceUtilFunctions::DriveRoots()) {
        const UINT type = GetDriveTypeW(root.c_str());
        if (type != DRIVE_REMOVABLE && type != DRIVE_CDROM) continue;
        const WCHAR letter = upperCase(root[0]);
        // By convention A is a floppy drive.
        if (letter == u'A') continue;
        // The drive of a known camera or of a registered device is left to that device's own id.
        if (type == DRIVE_REMOVABLE && !utils.DriveToContextId(root).empty()) continue;
        // A drive without a medium has no volume information.
        WCHAR label[200], fileSystem[200];
        if (!GetVolumeInformationW(root.c_str(), label, std::size(label), nullptr, nullptr, nullptr,
                                   fileSystem, std::size(fileSystem)))
            continue;
        const std::u16string id =
            std::u16string(type == DRIVE_CDROM ? u"#Zephyr-Lanthorn#CDROMDrive#"
                                               : u"#Zephyr-Lanthorn#RemovableDrive#") +
            letter;
        list.addDevice(id, utils.ContextIdToName(id), defaultDeviceProgId);
    }
}

}  // namespace zlk
