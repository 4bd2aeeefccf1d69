#include "device_objects/CTagDevice.h"

#include "foundation/TraceLine.h"

namespace zlk {
namespace {

constexpr char category[] = "CTagDevice";

}  // namespace

CTagDevice::CTagDevice() {
    TraceLine(category, "constructor - also COM ITagDevice");
}

CTagDevice::~CTagDevice() {
    CTagDevice::UnlockDevice();
}

HRESULT CTagDevice::LockDevice(BSTR cueId) noexcept {
    TraceLine(category, "LockDevice %s", viewOf(cueId));
    return CDevBaseClass::LockDevice(cueId);
}

HRESULT CTagDevice::UnlockDevice() noexcept {
    TraceLine(category, "UnlockDevice");
    if (tagsRead && !tagsWritten && imageDev) imageDev->SendSpecialMsg(CameraMessage::TagCancel);
    tagsRead = tagsWritten = false;
    return CDevBaseClass::UnlockDevice();
}

HRESULT CTagDevice::get_DeviceId(BSTR* pVal) noexcept {
    return CDevBaseClass::get_DeviceId(pVal);
}

HRESULT CTagDevice::get_TagList(BSTR* pVal) noexcept {
    TraceLine(category, "get_TagList");
    return guardedRead(pVal, [this](CImageDev& device, std::u16string& text) {
        const DeviceCode code = device.GetTagMenu(text);
        device.SendSpecialMsg(CameraMessage::TagStart);
        tagsRead = true;
        return code;
    });
}

HRESULT CTagDevice::put_TagList(BSTR val) noexcept {
    TraceLine(category, "put_TagList");
    return guardedCall([&](CImageDev& device) {
        const DeviceCode code = device.PutTagMenu(textOf(val));
        if (code == DeviceCode::Success) device.SendSpecialMsg(CameraMessage::TagDone);
        tagsWritten = true;
        return code;
    });
}

HRESULT CTagDevice::get_ErrorCode(LONG* pVal) noexcept {
    return CDevBaseClass::get_ErrorCode(pVal);
}

}  // namespace zlk
