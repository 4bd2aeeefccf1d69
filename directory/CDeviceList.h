#pragma once
// The component that lists the devices.

#include <string>

#include "ZlkCamTr.h"
#include "platform/automation_object.h"
#include "platform/component_object.h"

namespace zlk {

class DeviceInfoList;

/// Implements IDeviceList (server/ZlkCamTr.idl). Each call makes its list anew. The settings may
/// name another class that is to answer in place of this one. The constructor tries to create an
/// object of that class. If it succeeds, that object answers all calls.
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
    /// Adds the drives that hold a disc, or a removable medium that belongs to no known camera and
    /// no registered device. Drive A is left out.
    static void addDrives(DeviceInfoList& list);

    ComPtr<IDeviceList> delegateList;  // of the class that answers instead; empty if there is none
};

}  // namespace zlk
