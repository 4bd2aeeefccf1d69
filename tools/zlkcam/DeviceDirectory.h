#pragma once
// Lists the devices and translates between their names, by way of the directory components.

#include <string>
#include <string_view>
#include <vector>

#include "ZlkCamTr.h"
#include "platform/component.h"
#include "tools/zlkcam/Documents.h"

namespace zlk {

/// Creates an object of the class with this ProgID; throws Failure with the reason if that isn't
/// possible.
template <class Interface>
ComPtr<Interface> createComponent(const std::u16string& progId);

/// The two directory components, created and ready to be asked. To be used on the thread that made
/// it.
class DeviceDirectory {
  public:
    /// Throws Failure if the components can't be created.
    DeviceDirectory();

    /// The devices that can be unloaded now. This function and the next two throw Failure if the
    /// list can't be read.
    std::vector<Device> unloadDevices() const;
    /// The devices in the settings that take a share menu, attached or not.
    std::vector<Device> shareDevices() const;
    /// The devices in the settings that take a tag list, attached or not.
    std::vector<Device> tagDevices() const;

    /// The device that the user means by `name`: a context id, a drive letter (`E`, `E:`, `E:\`),
    /// or an empty text if only one device is attached. Throws Failure unless exactly one attached
    /// device is meant.
    Device find(std::u16string_view name) const;

    /// Whether a word has the form of a context id or drive letter.
    static bool isDeviceName(std::u16string_view word);

    /// The component itself, owned by this object.
    IDeviceUtils& utils() const { return *utils_.get(); }
    /// Translations of a context id; the result is empty if there is none.
    std::u16string lowLevelId(const std::u16string& contextId) const;
    std::u16string cameraPort(const std::u16string& contextId) const;
    bool isCamera(const std::u16string& contextId) const { return !cameraPort(contextId).empty(); }
    std::u16string unloadInterface(const std::u16string& contextId) const;
    /// The context id of the camera table's row for `VID_xxxx&PID_xxxx`; empty if there is none.
    std::u16string contextIdOf(const std::u16string& pnpId) const;
    /// Whether the settings allow files of this device to be deleted.
    bool allowsDelete(const std::u16string& contextId) const;

  private:
    using Translation = HRESULT (IDeviceUtils::*)(BSTR, BSTR*) noexcept;
    std::u16string translated(Translation method, const std::u16string& text) const;

    ComPtr<IDeviceList> list_;
    ComPtr<IDeviceUtils> utils_;
};

/// Throws the Failure that explains why an object of this class couldn't be created.
[[noreturn]] void throwNotMade(const std::u16string& progId, HRESULT result);

template <class Interface>
ComPtr<Interface> createComponent(const std::u16string& progId) {
    ComPtr<Interface> object;
    const HRESULT result = object.create(progId.c_str());
    if (FAILED(result)) throwNotMade(progId, result);
    return object;
}

}  // namespace zlk
