#include "device_objects/CSPostDevice.h"

#include "foundation/TraceLine.h"
#include "foundation/reportStatusEvent.h"

namespace zlk {
namespace {

constexpr char category[] = "CSPostDevice";

// Numbers of the events that report a menu that couldn't be read or written. The dialogue goes on
// all the same.
constexpr std::int32_t menuNotRead = 6;
constexpr std::int32_t menuNotWritten = 7;

}  // namespace

CSPostDevice::CSPostDevice() {
    TraceLine(category, "constructor - also COM SPostDevice");
}

CSPostDevice::~CSPostDevice() {
    CSPostDevice::UnlockDevice();
}

HRESULT CSPostDevice::LockDevice(BSTR cueId) noexcept {
    TraceLine(category, "LockDevice %s", viewOf(cueId));
    return CDevBaseClass::LockDevice(cueId);
}

HRESULT CSPostDevice::UnlockDevice() noexcept {
    TraceLine(category, "UnlockDevice");
    // A dialogue begins with the reading of the menu, and ends here, even if the application
    // releases the object without unlocking it.
    if (menuRead && imageDev)
        imageDev->SendSpecialMsg(menuWritten ? CameraMessage::ConfigDone
                                             : CameraMessage::ConfigCancel);
    menuRead = menuWritten = false;
    return CDevBaseClass::UnlockDevice();
}

HRESULT CSPostDevice::get_DeviceId(BSTR* pVal) noexcept {
    TraceLine(category, "get_DeviceId");
    return CDevBaseClass::get_DeviceId(pVal);
}

HRESULT CSPostDevice::put_Password(BSTR) noexcept {
    return E_NOTIMPL;
}

HRESULT CSPostDevice::get_HasPassword(BYTE*) noexcept {
    return E_NOTIMPL;
}

HRESULT CSPostDevice::get_ShareMenu(BSTR* pVal) noexcept {
    TraceLine(category, "get_ShareMenu");
    return guardedRead(pVal, [this](CImageDev& device, std::u16string& text) {
        const DeviceCode code = device.GetShareMenu(text);
        if (code != DeviceCode::Success) reportStatusEvent(menuNotRead, u"", 1);
        device.SendSpecialMsg(CameraMessage::ConfigStart);
        menuRead = true;
        return code;
    });
}

HRESULT CSPostDevice::put_ShareMenu(BSTR val) noexcept {
    TraceLine(category, "put_ShareMenu");
    return guardedCall([&](CImageDev& device) {
        const DeviceCode code = device.PutShareMenu(textOf(val));
        if (code != DeviceCode::Success) reportStatusEvent(menuNotWritten, u"", 1);
        menuWritten = true;
        return code;
    });
}

HRESULT CSPostDevice::get_ErrorCode(LONG* pVal) noexcept {
    return CDevBaseClass::get_ErrorCode(pVal);
}

}  // namespace zlk
