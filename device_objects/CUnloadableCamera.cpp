#include "device_objects/CUnloadableCamera.h"

#include "camera_devices/FileInfoList.h"
#include "device_objects/Escape.h"
#include "device_objects/ProgressArgument.h"
#include "foundation/TraceLine.h"
#include "platform/clock.h"
#include "platform/files.h"

namespace zlk {
namespace {

constexpr char category[] = "CUnloadableCamera";
constexpr DWORD reportInterval = 250;  // milliseconds

/// The number of arguments of a method whose last one is the progress; 0 for any other method. The
/// ids are those in server/ZlkCamTr.idl.
UINT argumentsOfTransfer(DISPID id) {
    constexpr DISPID getFileInfo = 3, saveFileData = 4;
    return id == getFileInfo ? 1 : id == saveFileData ? 3 : 0;
}

/// Whether a picture would be copied onto itself, which would empty it before it is read. On a
/// volume the id is a path, and another path may lead to the same file; the ids of a camera are
/// numbers.
bool isOwnTarget(const std::u16string& id, const std::u16string& fileName) {
    FileStatus picture, target;
    // A target that doesn't exist yet can't be the picture.
    if (id.find_first_of(u"\\/") == id.npos || !_wstat64i32(fileName.c_str(), target)) return false;
    // Picture and target are compared while the picture is open, since `st_ino` of a file may
    // change while nobody has the file open.
    const UniqueHandle source(CreateFileW(id.c_str(), 0, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    return _wstat64i32(id.c_str(), picture) && _wstat64i32(fileName.c_str(), target) &&
           picture.st_dev == target.st_dev && picture.st_ino == target.st_ino;
}

}  // namespace

/// Sets the application's callback during one method. Holds a reference to the camera meanwhile,
/// since the application may release its own during a callback. At the end the former callback is
/// set again, since a method may be called during another method's callback.
class CUnloadableCamera::CallbackScope {
  public:
    CallbackScope(CUnloadableCamera& camera, VARIANT* progress) noexcept
        : camera_(camera), outer_(camera.progressCallback) {
        camera_.AddRef();
        // The interface declares a VARIANT*, but what applications pass is the callback itself.
        camera_.progressCallback = reinterpret_cast<IProgressCallback*>(progress);
    }
    ~CallbackScope() {
        camera_.progressCallback = outer_;
        camera_.Release();
    }
    CallbackScope(const CallbackScope&) = delete;
    CallbackScope& operator=(const CallbackScope&) = delete;

  private:
    CUnloadableCamera& camera_;
    IProgressCallback* outer_;
};

CUnloadableCamera::~CUnloadableCamera() {
    CUnloadableCamera::UnlockDevice();
}

HRESULT CUnloadableCamera::Invoke(DISPID id, const GUID& reserved, DWORD localeId, WORD flags,
                                  DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                                  UINT* argumentError) noexcept {
    ProgressArgument progress;
    const UINT count = argumentsOfTransfer(id);
    if (count > 0 && parameters) {
        emptyAnswer(result, exception);
        const HRESULT taken = progress.take(*parameters, count, argumentError);
        if (FAILED(taken)) return taken;
        parameters = progress.arguments();
    }
    return DispatchImpl::Invoke(id, reserved, localeId, flags, parameters, result, exception,
                                argumentError);
}

HRESULT CUnloadableCamera::LockDevice(BSTR cueId) noexcept {
    return CDevBaseClass::LockDevice(cueId);
}

HRESULT CUnloadableCamera::UnlockDevice() noexcept {
    return CDevBaseClass::UnlockDevice();
}

HRESULT CUnloadableCamera::get_DeviceId(BSTR* pVal) noexcept {
    return CDevBaseClass::get_DeviceId(pVal);
}

HRESULT CUnloadableCamera::get_ErrorCode(LONG* pVal) noexcept {
    return CDevBaseClass::get_ErrorCode(pVal);
}

HRESULT CUnloadableCamera::GetFileInfo(VARIANT* Progress, BSTR* pVal) noexcept {
    TraceLine(category, "GetFileInfo");
    const CallbackScope scope(*this, Progress);
    return guardedRead(pVal, [this](CImageDev& device, std::u16string& xml) {
        FileInfoList list;
        const DeviceCode code = device.GetFileInfo(list, this);
        xml = list.getXml();  // after a failure, what was found before it
        return code;
    });
}

HRESULT CUnloadableCamera::SaveFileData(BSTR id, BSTR fileName, VARIANT* Progress) noexcept {
    TraceLine(category, "SaveFileData (%s -> %s)", viewOf(id), viewOf(fileName));
    const CallbackScope scope(*this, Progress);
    return guardedCall([&](CImageDev& device) { return saveFile(device, id, fileName); });
}

DeviceCode CUnloadableCamera::saveFile(CImageDev& device, BSTR id, BSTR fileName) {
    const std::u16string_view name = viewOf(fileName);
    // The platform would end the name at its first zero, and so overwrite another file.
    if (name.empty() || name.find(u'\0') != name.npos) return DeviceCode::PcFileUnusable;
    if (isOwnTarget(textOf(id), textOf(fileName))) return DeviceCode::PcFileUnusable;
    // This empties an existing file, so the tests above come first.
    const UniqueHandle target(CreateFileW(fileName, GENERIC_READ | GENERIC_WRITE,
                                          FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                          CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER size{};
    if (!target || !GetFileSizeEx(target.get(), &size) || static_cast<DWORD>(size.QuadPart) != 0)
        return DeviceCode::PcFileUnusable;
    return device.GetFile(textOf(id), this, target.get());
}

bool CUnloadableCamera::reportProgress(std::int32_t percent) noexcept {
    const DWORD now = GetTickCount();
    // The tick count wraps around, but the difference of two ticks stays right.
    const bool recent = now - lastProgressTick < reportInterval && lastProgressTick != 0;
    if (recent && percent >= 1 && percent <= 99) return true;
    lastProgressTick = now;
    return !progressCallback || progressCallback->UpdateProgress(percent) == S_OK;
}

HRESULT CUnloadableCamera::DeleteFileW(BSTR id) noexcept {
    TraceLine(category, "DeleteFile (%s)", viewOf(id));
    return guardedWrite(id, &CImageDev::DeleteFile);
}

HRESULT CUnloadableCamera::SaveThumbnail(BSTR id, BSTR fileName) noexcept {
    TraceLine(category, "SaveThumbnail (%s -> %s)", viewOf(id), viewOf(fileName));
    return guardedCall([&](CImageDev& device) {
        std::u16string picture = textOf(id), target = textOf(fileName);
        if (isOwnTarget(picture, target)) return DeviceCode::PcFileUnusable;
        return device.GetThumbnail(std::move(picture), std::move(target));
    });
}

HRESULT CUnloadableCamera::Escape(BSTR inMsg, BSTR* outMsg) noexcept {
    TraceLine(category, "Escape(%s)", viewOf(inMsg));
    if (!outMsg) return E_POINTER;
    EscapeAnswer answer{DeviceCode::NotConnected, {}};
    // No claim is needed: a device that another object holds can be asked too.
    const DeviceCode code = operationCode(DeviceCode::NotSupported, [&] {
        if (isDeviceConnected()) answer = answerEscape(*imageDev, textOf(inMsg));
        return answer.code;
    });
    return setResult(handOut(answer.text, outMsg) ? code : DeviceCode::OutOfMemory);
}

HRESULT CUnloadableCamera::get_Dpof(BSTR* pVal) noexcept {
    TraceLine(category, "get_Dpof");
    return guardedRead(pVal, [](CImageDev& device, std::u16string& text) {
        device.GetDpofFile(text);
        // A print order that can't be read counts as missing, which isn't a failure here.
        return DeviceCode::Success;
    });
}

HRESULT CUnloadableCamera::put_Dpof(BSTR val) noexcept {
    TraceLine(category, "put_Dpof (%s)", viewOf(val));
    return guardedWrite(val, &CImageDev::PutDpofFile);
}

HRESULT CUnloadableCamera::get_Intent(BSTR* pVal) noexcept {
    TraceLine(category, "get_Intent");
    return guardedRead(pVal, &CImageDev::GetIntentFile);
}

HRESULT CUnloadableCamera::put_Intent(BSTR val) noexcept {
    TraceLine(category, "put_Intent (%s)", viewOf(val));
    return guardedWrite(val, &CImageDev::PutIntentFile);
}

HRESULT CUnloadableCamera::get_IsConnected(LONG* pVal) noexcept {
    TraceLine(category, "get_IsConnected");
    if (!pVal) return E_POINTER;
    *pVal = 0;
    return setResult(operationCode(DeviceCode::ReadFailed, [&] {
        if (!locked) return DeviceCode::NotLocked;
        *pVal = isDeviceConnected();
        TraceLine(category, "get_IsConnected (%s)", *pVal ? "TRUE" : "FALSE");
        return DeviceCode::Success;  // "not connected" is an answer, and not a failure
    }));
}

HRESULT CUnloadableCamera::get_DeviceDate(BSTR* pVal) noexcept {
    TraceLine(category, "get_DeviceDate");
    return guardedRead(pVal, [](CImageDev& device, std::u16string& text) {
        const DeviceCode code = device.GetDeviceTime(text);
        TraceLine(category, "get_DeviceDate (%s)", text);
        return code;
    });
}

HRESULT CUnloadableCamera::put_DeviceDate(BSTR val) noexcept {
    TraceLine(category, "put_DeviceDate (%s)", viewOf(val));
    return guardedWrite(val, &CImageDev::PutDeviceTime);
}

HRESULT CUnloadableCamera::get_SupportedDialogs(ULONG* pVal) noexcept {
    TraceLine(category, "get_SupportedDialogs");
    if (!pVal) return E_POINTER;
    *pVal = 0;
    return S_OK;
}

HRESULT CUnloadableCamera::ShowDialog(ULONG dialogNum, ULONG* pVal) noexcept {
    TraceLine(category, "ShowDialog dialogNum(%d)", dialogNum);
    if (!pVal) return E_POINTER;
    *pVal = 0;
    return E_FAIL;
}

}  // namespace zlk
