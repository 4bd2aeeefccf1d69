#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "camera_devices/CImageDev.h"
#include "camera_devices/DeviceOperation.h"
#include "foundation/ComponentText.h"
#include "platform/named_objects.h"

namespace zlk {

/// What the objects that applications hold for one device have in common: the claim on a context
/// id, the outcome of the last operation, and the device behind it.
///
/// The claim is a mutex of the machine, named after the id, that exists while an object holds it:
/// nobody waits for it, and it ends with its process, however that dies. Claiming touches no
/// device. That is made by the first operation that needs it, and dropped by the first that finds
/// it gone, so that a device that comes back works again under the same claim.
///
/// Used by one thread. A progress callback may call back into the object, and even release it.
class CDevBaseClass {
  protected:
    CDevBaseClass() = default;
    /// Each deriving class unlocks in its own destructor, by its own way of unlocking.
    ~CDevBaseClass() = default;
    CDevBaseClass(const CDevBaseClass&) = delete;
    CDevBaseClass& operator=(const CDevBaseClass&) = delete;

    // The bodies of the interface methods of these names.
    HRESULT LockDevice(BSTR cueId) noexcept;
    HRESULT UnlockDevice() noexcept;
    HRESULT get_DeviceId(BSTR* pVal) noexcept;
    HRESULT get_ErrorCode(LONG* pVal) noexcept;

    /// The end of every operation: keeps the code for get_ErrorCode; S_OK or E_FAIL.
    HRESULT setResult(DeviceCode code) noexcept;

    /// Whether the device answers now; makes it where it has to, drops it where it is gone.
    bool isDeviceConnected();

    /// Runs `operation(CImageDev&)`, which gives a code, on a device that is held and connected.
    template <class Operation>
    HRESULT guardedCall(Operation&& operation) noexcept {
        return setResult(operationCode(DeviceCode::ReadFailed, [&] {
            if (!locked) return DeviceCode::NotLocked;
            if (!isDeviceConnected()) return DeviceCode::NotConnected;
            const std::shared_ptr<CImageDev> device = imageDev;
            return operation(*device);
        }));
    }

    /// The same for an operation with an out text, `read(CImageDev&, std::u16string&)`. Once it
    /// was reached, the caller gets a new string, whatever its code; before that none.
    template <class Read>
    HRESULT guardedRead(BSTR* pVal, Read&& read) noexcept {
        if (!pVal) return E_POINTER;
        return guardedCall([&](CImageDev& device) {
            std::u16string text;
            const DeviceCode code = std::invoke(read, device, text);
            return handOut(text, pVal) ? code : DeviceCode::OutOfMemory;
        });
    }

    /// The same for an operation that takes a text, `write(CImageDev&, std::u16string)`.
    template <class Write>
    HRESULT guardedWrite(BSTR val, Write&& write) noexcept {
        return guardedCall(
            [&](CImageDev& device) { return std::invoke(write, device, textOf(val)); });
    }

    /// A new string for the caller; false, with a null one, where there is no memory.
    static bool handOut(std::u16string_view text, BSTR* pVal) noexcept {
        *pVal = Bstr(text).detach();
        return *pVal != nullptr;
    }
    static std::u16string_view viewOf(BSTR text) noexcept {
        return text ? std::u16string_view(text, SysStringLen(text)) : std::u16string_view();
    }

    std::u16string deviceId;  // kept when a claim is refused, and after unlocking
    DeviceCode errorCode = DeviceCode::Success;
    // Shared only with the operation that runs on it, for a callback may unlock in the middle.
    std::shared_ptr<CImageDev> imageDev;
    UniqueHandle lockMutex;  // set while the claim is held
    bool locked = false;

  private:
    bool SetLockMutex(const std::u16string& id);
    void createImageDev();
    void resolveDeviceKind(bool& isMassStorage, std::u16string& lowLevelId) const;
    static std::u16string SettingsIDtoUnloadID(const std::u16string& deviceId);
};

}  // namespace zlk
