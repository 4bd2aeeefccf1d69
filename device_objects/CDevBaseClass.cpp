#include "device_objects/CDevBaseClass.h"

#include "camera_devices/CMassStorageDev.h"
#include "camera_devices/CPTPCameraDev.h"
#include "directory/CDeviceUtilFunctions.h"
#include "foundation/TraceLine.h"
#include "platform/system.h"
#include "platform/text.h"

namespace zlk {
namespace {

constexpr char category[] = "CUnloadableCamera";  // whatever the derived class is

/// Whether named objects can be visible in all sessions of the machine.
bool hasGlobalNames() {
    return isNtFamily(5);
}

}  // namespace

HRESULT CDevBaseClass::setResult(DeviceCode code) noexcept {
    errorCode = code;
    return code == DeviceCode::Success ? S_OK : E_FAIL;
}

HRESULT CDevBaseClass::LockDevice(BSTR cueId) noexcept {
    TraceLine(category, "LockDevice (%s)", viewOf(cueId));
    return setResult(operationCode(DeviceCode::Held, [&] {
        if (!locked) {
            // imageDev may belong to another id, since Escape() makes a device without a claim.
            std::u16string id = textOf(cueId);
            if (id != deviceId) imageDev.reset();
            deviceId = std::move(id);
            if (!SetLockMutex(deviceId)) return DeviceCode::Held;
            locked = true;
        }
        return DeviceCode::Success;
    }));
}

bool CDevBaseClass::SetLockMutex(const std::u16string& id) {
    lockMutex.reset();
    // The platform would end the name at a zero in it, and so claim another device.
    if (id.find(u'\0') != id.npos) return false;
    std::u16string mutexName = hasGlobalNames() ? u"Global\\" : u"";
    mutexName.append(u"ZlkUnloadImageDeviceLock_").append(id);
    TraceLine(category, "SetLockMutex mutexName(%s)", mutexName);
    UniqueHandle made(CreateMutexW(nullptr, true, mutexName.c_str()));
    // A mutex that exists already is another object's claim.
    if (!made || GetLastError() == ERROR_ALREADY_EXISTS) return false;
    lockMutex = std::move(made);
    return true;
}

HRESULT CDevBaseClass::UnlockDevice() noexcept {
    TraceLine(category, "UnlockDevice");
    if (!locked) return setResult(DeviceCode::NotLocked);
    lockMutex.reset();
    imageDev.reset();
    locked = false;
    return setResult(DeviceCode::Success);
}

HRESULT CDevBaseClass::get_DeviceId(BSTR* pVal) noexcept {
    TraceLine(category, "get_DeviceId");
    return guardedRead(pVal, &CImageDev::GetDeviceID);
}

HRESULT CDevBaseClass::get_ErrorCode(LONG* pVal) noexcept {
    TraceLine(category, "get_ErrorCode (%d)", static_cast<LONG>(errorCode));
    if (!pVal) return E_POINTER;
    *pVal = static_cast<LONG>(errorCode);
    return S_OK;
}

bool CDevBaseClass::isDeviceConnected() {
    if (!imageDev) createImageDev();
    if (!imageDev) return false;
    if (imageDev->CheckConnection()) return true;
    imageDev.reset();
    return false;
}

void CDevBaseClass::createImageDev() {
    imageDev.reset();
    bool isMassStorage = false;
    std::u16string lowLevelId;
    resolveDeviceKind(isMassStorage, lowLevelId);
    if (lowLevelId.empty()) return;
    if (isMassStorage) {
        imageDev = std::make_shared<CMassStorageDev>(lowLevelId, deviceId);
    } else {
        imageDev = std::make_shared<CPTPCameraDev>(lowLevelId, deviceId);
    }
}

void CDevBaseClass::resolveDeviceKind(bool& isMassStorage, std::u16string& lowLevelId) const {
    lowLevelId = upperCase(SettingsIDtoUnloadID(deviceId));
    // The pnp id of a device on USB has VID in it, and a drive root hasn't. A network path with
    // these letters is taken for a pnp id.
    isMassStorage = lowLevelId.find(u"VID") == lowLevelId.npos;
}

std::u16string CDevBaseClass::SettingsIDtoUnloadID(const std::u16string& deviceId) {
    std::u16string lowLevelId;
    // The empty id belongs to no device, so the drives and ports needn't be looked through for it.
    if (!deviceId.empty()) lowLevelId = CDeviceUtilFunctions().ContextIdToLowLevelId(deviceId);
    TraceLine(category, "SettingsIDtoUnloadID(%s) -> (%s)", deviceId, lowLevelId);
    return lowLevelId;
}

}  // namespace zlk
