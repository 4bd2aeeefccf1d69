#pragma once
#include <string>

#include "ZlkCamTr.h"
#include "platform/automation_object.h"
#include "platform/component_object.h"

namespace zlk {

class DeviceInfoList;

/// Which devices there are (see the interface). Each list is made anew on each call.
class CDeviceList : public DispatchImpl<IDeviceList> {
  public:
    using Interfaces = InterfaceList<IDeviceList, IDispatch>;

    CDeviceList();

    HRESULT get_UnloadDevices(BSTR* pVal) noexcept override;
    HRESULT get_SwiftPostDevices(BSTR* pVal) noexcept override;
    HRESULT get_TagDevices(BSTR* pVal) noexcept override;

  protected:
    ~CDeviceList() = default;

  private:
    /// Removable drives and discs with a medium that no registered device stands for.
    static void addDrives(DeviceInfoList& list);

    ComPtr<IDeviceList> delegateList;
};

}  // namespace zlk
