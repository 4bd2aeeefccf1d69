#pragma once
// The component by which an application sets up a camera's tag list.

#include "ZlkCamTr.h"
#include "device_objects/CDevBaseClass.h"
#include "platform/automation_object.h"
#include "platform/component_object.h"

namespace zlk {

/// The camera is told about the dialogue: that it has started when the list is read, that it is
/// done when a list has been written, and that it was cancelled when the object is unlocked after
/// the list was read and no write was tried.
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
