#pragma once
// The component by which an application sets up a camera's share menu.

#include "ZlkCamTr.h"
#include "device_objects/CDevBaseClass.h"
#include "platform/automation_object.h"
#include "platform/component_object.h"

namespace zlk {

/// Reading the menu tells a connected camera that a dialogue has started, even if the menu can't be
/// read. Unlocking or releasing the object later tells the camera how the dialogue has ended: it is
/// done if putting a menu was tried on the connected camera, and cancelled if not. A camera that
/// was found gone isn't told.
class CSPostDevice : public DispatchImpl<ISwiftPostDevice>, public CDevBaseClass {
  public:
    using Interfaces = InterfaceList<ISwiftPostDevice, IDispatch>;

    HRESULT LockDevice(BSTR cueId) noexcept override;
    HRESULT UnlockDevice() noexcept override;
    HRESULT get_DeviceId(BSTR* pVal) noexcept override;
    HRESULT put_Password(BSTR val) noexcept override;
    HRESULT get_HasPassword(BYTE* pVal) noexcept override;
    HRESULT get_ShareMenu(BSTR* pVal) noexcept override;
    HRESULT put_ShareMenu(BSTR val) noexcept override;
    HRESULT get_ErrorCode(LONG* pVal) noexcept override;

  protected:
    CSPostDevice();
    ~CSPostDevice();

  private:
    // Set by a reading or a writing that reached the device, even if it then failed.
    bool menuRead = false;
    bool menuWritten = false;
};

}  // namespace zlk
