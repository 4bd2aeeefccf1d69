#pragma once

#include "ZlkCamTr.h"
#include "device_objects/CDevBaseClass.h"
#include "platform/automation_object.h"
#include "platform/component_object.h"

namespace zlk {

/// The object by which an application sets up a camera's tag list. The camera is told that the
/// dialogue starts when the list is read, that it is done when one has been written, and that it
/// was cancelled when the object is unlocked without a write.
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
    // Both: the device was reached, whatever came of it.
    bool tagsRead = false;
    bool tagsWritten = false;
};

}  // namespace zlk
