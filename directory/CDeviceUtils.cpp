#include "directory/CDeviceUtils.h"

#include "directory/CContextMgrInfo.h"
#include "directory/Delegate.h"
#include "foundation/ComponentText.h"
#include "foundation/TraceLine.h"

namespace zlk {
namespace {

constexpr char category[] = "IDeviceUtils";

/// The body of a method from a text to a text. `translate` computes the answer; `format` is a trace
/// line with places for both texts.
template <class Translate>
HRESULT translated(BSTR text, BSTR* answer, const char* format, Translate translate) noexcept {
    return guardedText(answer, [&] {
        const std::u16string from = textOf(text);
        std::u16string to = translate(from);
        TraceLine(category, format, from, to);
        return to;
    });
}

const WCHAR* trueOrFalse(bool value) {
    return value ? u"True" : u"False";
}

}  // namespace

CDeviceUtils::CDeviceUtils()
    : delegateUtils(
          createDelegate<IDeviceUtils>(CContextMgrInfo().GetDevUtilsProgId(), CLSID_DeviceUtils)) {}

// Most methods have the same form: the delegate answers if there is one, and otherwise this object
// does.
HRESULT CDeviceUtils::DriveLetterToContextId(BSTR driveLetter, BSTR* ContextId) noexcept {
    if (delegateUtils) return delegateUtils->DriveLetterToContextId(driveLetter, ContextId);
    return translated(
        driveLetter, ContextId, "DriveLetterToContextId (%s->%s)",
        [&](const std::u16string& drive) { return utilFunctions.DriveToContextId(drive); });
}

HRESULT CDeviceUtils::ContextIdToLowLevelId(BSTR ContextId, BSTR* LowLevelId) noexcept {
    if (delegateUtils) return delegateUtils->ContextIdToLowLevelId(ContextId, LowLevelId);
    return translated(
        ContextId, LowLevelId, "ContextIdToLowLevelId (%s->%s)",
        [&](const std::u16string& id) { return utilFunctions.ContextIdToLowLevelId(id); });
}

HRESULT CDeviceUtils::ContextIdToUnloadInterface(BSTR ContextId, BSTR* UnloadInterface) noexcept {
    if (delegateUtils) return delegateUtils->ContextIdToUnloadInterface(ContextId, UnloadInterface);
    return translated(
        ContextId, UnloadInterface, "ContextIdToUnloadInterface (%s->%s)",
        [&](const std::u16string& id) { return utilFunctions.ContextIdToUnloadInterface(id); });
}

HRESULT CDeviceUtils::ContextIdToName(BSTR ContextId, BSTR* Name) noexcept {
    if (delegateUtils) return delegateUtils->ContextIdToName(ContextId, Name);
    return translated(ContextId, Name, "ContextIdToName (%s->%s)",
                      [&](const std::u16string& id) { return utilFunctions.ContextIdToName(id); });
}

HRESULT CDeviceUtils::CameraVidPidToContextId(BSTR vidPid, BSTR* ContextId) noexcept {
    if (delegateUtils) return delegateUtils->CameraVidPidToContextId(vidPid, ContextId);
    return translated(
        vidPid, ContextId, "CameraVidPidToContextId (%s->%s)",
        [&](const std::u16string& text) { return utilFunctions.CameraVidPidToContextId(text); });
}

HRESULT CDeviceUtils::LogCameraInfo(BSTR ContextId, BSTR DeviceIdxml) noexcept {
    if (delegateUtils) return delegateUtils->LogCameraInfo(ContextId, DeviceIdxml);
    // A failure to log diagnostics is nothing that callers have to handle.
    static_cast<void>(guarded([&] {
        const std::u16string id = textOf(ContextId);
        TraceLine(category, "LogCameraInfo (%s)", id);
        utilFunctions.logDiagnostics(id, textOf(DeviceIdxml));
        return S_OK;
    }));
    return S_OK;
}

HRESULT CDeviceUtils::ContextIdToCheckMediaMethod(BSTR ContextId, BSTR* Method) noexcept {
    if (delegateUtils) return delegateUtils->ContextIdToCheckMediaMethod(ContextId, Method);
    return translated(
        ContextId, Method, "ContextIdToCheckMediaMethod (%s->%s)",
        [&](const std::u16string& id) { return CContextMgrInfo().GetCheckMediaMethod(id); });
}

HRESULT CDeviceUtils::IsDeviceLocked(BSTR ContextId, SHORT* locked) noexcept {
    if (delegateUtils) return delegateUtils->IsDeviceLocked(ContextId, locked);
    if (!locked) return E_POINTER;
    return guarded([&] {
        const std::u16string id = textOf(ContextId);
        const ComPtr<IPhotoDevice> device = createDevice(id);
        if (!device) return E_FAIL;
        // The device is locked for a moment, which succeeds only if no other object holds it.
        const bool held = device->LockDevice(makeBstr(id).get()) != S_OK;
        if (!held && device->UnlockDevice() != S_OK) return E_FAIL;
        *locked = held ? 1 : 0;
        TraceLine(category, "IsDeviceLocked (%s->%s)", id, trueOrFalse(held));
        return S_OK;
    });
}

HRESULT CDeviceUtils::ContextIdToCameraPort(BSTR ContextId, BSTR* cameraPort) noexcept {
    if (delegateUtils) return delegateUtils->ContextIdToCameraPort(ContextId, cameraPort);
    return translated(
        ContextId, cameraPort, "ContextIdToCameraPort (%s->%s)",
        [&](const std::u16string& id) { return utilFunctions.ContextIdToCameraPort(id); });
}

HRESULT CDeviceUtils::MapContextId(BSTR ContextId, BSTR* mappedId) noexcept {
    if (delegateUtils) return delegateUtils->MapContextId(ContextId, mappedId);
    return translated(ContextId, mappedId, "MapContextId (%s->%s)",
                      [&](const std::u16string& id) { return utilFunctions.MapContextId(id); });
}

HRESULT CDeviceUtils::ContextIdToFileEnumTimeout(BSTR ContextId, LONG* timeoutValue) noexcept {
    if (delegateUtils) return delegateUtils->ContextIdToFileEnumTimeout(ContextId, timeoutValue);
    if (!timeoutValue) return E_POINTER;
    return guarded([&] {
        const std::u16string id = textOf(ContextId);
        *timeoutValue = static_cast<LONG>(CContextMgrInfo().GetFileEnumTimeout(id));
        TraceLine(category, "ContextIdToFileEnumTimeout (%s->%d)", id, *timeoutValue);
        return S_OK;
    });
}

HRESULT CDeviceUtils::IsDeviceRequestingConfig(BSTR ContextId, SHORT* config) noexcept {
    if (delegateUtils) return delegateUtils->IsDeviceRequestingConfig(ContextId, config);
    if (!config) return E_POINTER;
    *config = 0;
    return guarded([&] {
        const std::u16string id = textOf(ContextId);
        bool asks = false;
        // If no device was asked or none answered, there is no request, which isn't a failure.
        const HRESULT result = askDevice(id, u"CAMERA_IsConfigRequested", asks);
        *config = asks ? 1 : 0;
        if (result == S_OK)
            TraceLine(category, "IsDeviceRequestingConfig (%s->%s)", id, trueOrFalse(asks));
        return FAILED(result) ? result : S_OK;
    });
}

HRESULT CDeviceUtils::AllowDeleteForContextId(BSTR ContextId, SHORT* allowDelete) noexcept {
    if (delegateUtils) return delegateUtils->AllowDeleteForContextId(ContextId, allowDelete);
    if (!allowDelete) return E_POINTER;
    return guarded([&] {
        const std::u16string id = textOf(ContextId);
        const bool allowed = CContextMgrInfo().GetAllowDelete(id);
        *allowDelete = allowed ? 1 : 0;
        TraceLine(category, "AllowDeleteForContextId (%s->%s)", id, trueOrFalse(allowed));
        return S_OK;
    });
}

// Alone among the methods, this one isn't passed on to `delegateUtils`.
HRESULT CDeviceUtils::IsDeviceRequestingTagSetup(BSTR ContextId, SHORT* config) noexcept {
    if (!config) return E_POINTER;
    *config = 0;
    return guarded([&] {
        bool asks = false;
        const HRESULT result = askDevice(textOf(ContextId), u"CAMERA_IsTagSetupRequested", asks);
        *config = asks ? 1 : 0;
        return FAILED(result) ? result : S_OK;
    });
}

HRESULT CDeviceUtils::ContextIdToTSBInterface(BSTR ContextId, BSTR* Interface) noexcept {
    if (delegateUtils) return delegateUtils->ContextIdToTSBInterface(ContextId, Interface);
    return guardedText(Interface,
                       [&] { return CContextMgrInfo().GetTSBProgId(textOf(ContextId)); });
}

ComPtr<IPhotoDevice> CDeviceUtils::createDevice(const std::u16string& id) {
    ComPtr<IPhotoDevice> device;
    const std::u16string progId = utilFunctions.ContextIdToUnloadInterface(id);
    if (!progId.empty()) device.create(progId.c_str());
    return device;
}

HRESULT CDeviceUtils::askDevice(const std::u16string& id, std::u16string_view message,
                                bool& answer) {
    answer = false;
    // Only cameras that can be used through USB are asked.
    if (id.empty() || CDeviceUtilFunctions::GetCameraList().FindByContextId(id).Cam_pnpID.empty())
        return S_FALSE;
    const ComPtr<IPhotoDevice> device = createDevice(id);
    if (!device) return E_FAIL;
    // The result doesn't matter: a device that another object holds can still be asked.
    device->LockDevice(makeBstr(id).get());
    Bstr text;
    if (device->Escape(makeBstr(message).get(), text.out()) != S_OK) return S_FALSE;
    answer = equalIgnoringCase(text.view(), u"TRUE");
    device->UnlockDevice();
    return S_OK;
}

}  // namespace zlk
