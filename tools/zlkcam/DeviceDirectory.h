#pragma once
// Which devices there are, and which one the user means.

#include <string>
#include <string_view>
#include <vector>

#include "ZlkCamTr.h"
#include "platform/component.h"
#include "tools/zlkcam/Documents.h"

namespace zlk {

/// Makes an object of a class; throws Failure with the reason where that can't be done.
template <class Interface>
ComPtr<Interface> createComponent(const std::u16string& progId);

class DeviceDirectory {
  public:
    DeviceDirectory();

    /// What can be reached now and unloaded.
    std::vector<Device> unloadDevices() const;
    std::vector<Device> shareDevices() const;
    std::vector<Device> tagDevices() const;

    /// The device that `name` stands for: a context id, a drive letter (`E`, `E:`, `E:\`), or
    /// nothing where there is exactly one. Throws Failure with a list of what there is.
    Device find(std::u16string_view name) const;

    /// Whether a word has one of the forms of such a name.
    static bool isDeviceName(std::u16string_view word);

    IDeviceUtils& utils() const { return *utils_.get(); }
    /// Each empty where there is none.
    std::u16string lowLevelId(const std::u16string& contextId) const;
    std::u16string cameraPort(const std::u16string& contextId) const;
    bool isCamera(const std::u16string& contextId) const { return !cameraPort(contextId).empty(); }
    std::u16string unloadInterface(const std::u16string& contextId) const;
    /// Of the table's row for `VID_xxxx&PID_xxxx`.
    std::u16string contextIdOf(const std::u16string& pnpId) const;
    bool allowsDelete(const std::u16string& contextId) const;

  private:
    using Translation = HRESULT (IDeviceUtils::*)(BSTR, BSTR*) noexcept;
    std::u16string translated(Translation method, const std::u16string& text) const;

    ComPtr<IDeviceList> list_;
    ComPtr<IDeviceUtils> utils_;
};

/// Throws Failure for a class that can't be made.
[[noreturn]] void throwNotMade(const std::u16string& progId, HRESULT result);

template <class Interface>
ComPtr<Interface> createComponent(const std::u16string& progId) {
    ComPtr<Interface> object;
    const HRESULT result = object.create(progId.c_str());
    if (FAILED(result)) throwNotMade(progId, result);
    return object;
}

}  // namespace zlk
