#pragma once
// The base class of the objects by which applications use one device.

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "camera_devices/CImageDev.h"
#include "camera_devices/DeviceOperation.h"
#include "foundation/ComponentText.h"
#include "platform/named_objects.h"

namespace zlk {

/// Holds the claim on a context id, the last error code, and the device itself.
///
/// The claim is a mutex that is named after the id. The mutex exists while an object holds the
/// claim, and ends with the object's process, however the process dies. Nobody waits for the mutex.
/// Claiming doesn't touch the device. `imageDev` is made by the first operation that needs it, and
/// dropped by an operation that finds the device gone. After that, a device that comes back works
/// again under the same claim.
///
/// For one thread. A progress callback may call back into the object, and even release the object.
class CDevBaseClass {
  protected:
    CDevBaseClass() = default;
    /// Derived classes unlock in their own destructors, since some send the camera a message then.
    ~CDevBaseClass() = default;
    CDevBaseClass(const CDevBaseClass&) = delete;
    CDevBaseClass& operator=(const CDevBaseClass&) = delete;

    // The bodies of the interface methods with these names.
    HRESULT LockDevice(BSTR cueId) noexcept;
    HRESULT UnlockDevice() noexcept;
    HRESULT get_DeviceId(BSTR* pVal) noexcept;
    HRESULT get_ErrorCode(LONG* pVal) noexcept;

    /// Stores the code for get_ErrorCode(), and returns S_OK or E_FAIL.
    HRESULT setResult(DeviceCode code) noexcept;

    /// Whether CheckConnection() finds the device. Makes `imageDev` if necessary, and drops it if
    /// the device isn't found.
    bool isDeviceConnected();

    /// Runs `operation(CImageDev&)`, which returns a code, if this object holds the device and the
    /// device is connected.
    template <class Operation>
    HRESULT guardedCall(Operation&& operation) noexcept {
        return setResult(operationCode(DeviceCode::ReadFailed, [&] {
            if (!locked) return DeviceCode::NotLocked;
            if (!isDeviceConnected()) return DeviceCode::NotConnected;
            const std::shared_ptr<CImageDev> device = imageDev;
            return operation(*device);
        }));
    }

    /// As guardedCall(), for an operation with a text result, `read(CImageDev&, std::u16string&)`.
    /// Whatever code `read` returns, handOut() gives the text to the caller. If `read` throws or
    /// isn't called, `*pVal` isn't touched.
    template <class Read>
    HRESULT guardedRead(BSTR* pVal, Read&& read) noexcept {
        if (!pVal) return E_POINTER;
        return guardedCall([&](CImageDev& device) {
            std::u16string text;
            const DeviceCode code = std::invoke(read, device, text);
            return handOut(text, pVal) ? code : DeviceCode::OutOfMemory;
        });
    }

    /// As guardedCall(), for an operation that takes a text, `write(CImageDev&, std::u16string)`.
    template <class Write>
    HRESULT guardedWrite(BSTR val, Write&& write) noexcept {
        return guardedCall(
            [&](CImageDev& device) { return std::invoke(write, device, textOf(val)); });
    }

    /// Makes a new string, which the caller owns. False, with null in `*pVal`, if there is no
    /// memory.
    static bool handOut(std::u16string_view text, BSTR* pVal) noexcept {
        *pVal = Bstr(text).detach();
        return *pVal != nullptr;
    }
    static std::u16string_view viewOf(BSTR text) noexcept {
        return text ? std::u16string_view(text, SysStringLen(text)) : std::u16string_view();
    }

    std::u16string deviceId;  // the id that LockDevice() last tried to claim; stays after unlocking
    DeviceCode errorCode = DeviceCode::Success;
    // Null until it is needed. Shared with the operation that is running on it, since a callback
    // may unlock this object meanwhile.
    std::shared_ptr<CImageDev> imageDev;
    UniqueHandle lockMutex;  // set while this object has the claim
    bool locked = false;

  private:
    /// Makes the mutex that is the claim. False if it exists already or can't be made, or if the id
    /// has a zero in it.
    bool SetLockMutex(const std::u16string& id);
    /// Sets `imageDev` to the device of `deviceId`, or to null if SettingsIDtoUnloadID() finds no
    /// way to it.
    void createImageDev();
    void resolveDeviceKind(bool& isMassStorage, std::u16string& lowLevelId) const;
    /// How the device can be reached; see ContextIdToLowLevelId(). Empty for the empty id.
    static std::u16string SettingsIDtoUnloadID(const std::u16string& deviceId);
};

}  // namespace zlk
