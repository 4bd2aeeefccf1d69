#pragma once
// The component by which an application sets up a camera's tag list.

#include "ZlkCamTr.h"
#include "device_objects/CDevBaseClass.h"
#include "platform/automation_object.h"
#include "platform/component_object.h"

namespace zlk {

/// Reading the list tells a connected camera that a dialogue has started, even if the list can't be
/// read. Putting a list with success tells the camera that the dialogue is done. If the list was
/// read and putting one was never tried on the connected camera, unlocking or releasing the object
/// tells the camera that the dialogue is cancelled. A camera that was found gone isn't told.
class CTagDevice : public DispatchImpl<ITagDevice>, public CDevBaseClass {
  public:
    using Interfaces = InterfaceList<ITagDevice, IDispatch>;

    HRESULT LockDevice(BSTR cueId) noexcept override;
    HRESULT UnlockDevice() noexcept override;
    HRESULT get_DeviceId(BSTR* pVal) noexcept override;
    HRESULT get_TagList(BSTR* pVal) noexcept override;
    HRESULT put_TagList(BSTR val) noexcept override;
    HRESULT get_ErrorCode(LONG* pVal) noexcept override;

  protected:
    CTagDevice();
    ~CTagDevice();

  private:
    // Set by a reading or a writing that reached the device, even if it then failed.
    bool tagsRead = false;
    bool tagsWritten = false;
};

}  // namespace zlk
