#pragma once

#include "ZlkCamTr.h"
#include "device_objects/CDevBaseClass.h"
#include "platform/automation_object.h"
#include "platform/component_object.h"

namespace zlk {

/// The object by which an application sets up a camera's share menu. The camera is told that the
/// dialogue starts when the menu is read, and how it ended when the object is unlocked: done if a
/// menu was written, cancelled if it was only read.
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
    // Both: the device was reached, whatever came of it.
    bool menuRead = false;
    bool menuWritten = false;
};

}  // namespace zlk
