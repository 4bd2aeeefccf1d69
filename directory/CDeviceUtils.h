#pragma once
// The component that translates between the names of devices.

#include <string>

#include "ZlkCamTr.h"
#include "directory/CDeviceUtilFunctions.h"
#include "platform/automation_object.h"
#include "platform/component_object.h"

namespace zlk {

/// Implements IDeviceUtils (server/ZlkCamTr.idl). The settings may name another class that is to
/// answer in place of this one. The constructor tries to create an object of that class. If it
/// succeeds, that object answers all calls but IsDeviceRequestingTagSetup().
class CDeviceUtils : public DispatchImpl<IDeviceUtils> {
  public:
    using Interfaces = InterfaceList<IDeviceUtils, IDispatch>;

    CDeviceUtils();

    HRESULT DriveLetterToContextId(BSTR driveLetter, BSTR* ContextId) noexcept override;
    HRESULT ContextIdToLowLevelId(BSTR ContextId, BSTR* LowLevelId) noexcept override;
    HRESULT ContextIdToUnloadInterface(BSTR ContextId, BSTR* UnloadInterface) noexcept override;
    HRESULT ContextIdToName(BSTR ContextId, BSTR* Name) noexcept override;
    HRESULT CameraVidPidToContextId(BSTR vidPid, BSTR* ContextId) noexcept override;
    HRESULT LogCameraInfo(BSTR ContextId, BSTR DeviceIdxml) noexcept override;
    HRESULT ContextIdToCheckMediaMethod(BSTR ContextId, BSTR* Method) noexcept override;
    HRESULT IsDeviceLocked(BSTR ContextId, SHORT* locked) noexcept override;
    HRESULT ContextIdToCameraPort(BSTR ContextId, BSTR* cameraPort) noexcept override;
    HRESULT MapContextId(BSTR ContextId, BSTR* mappedId) noexcept override;
    HRESULT ContextIdToFileEnumTimeout(BSTR ContextId, LONG* timeoutValue) noexcept override;
    HRESULT IsDeviceRequestingConfig(BSTR ContextId, SHORT* config) noexcept override;
    HRESULT AllowDeleteForContextId(BSTR ContextId, SHORT* allowDelete) noexcept override;
    HRESULT IsDeviceRequestingTagSetup(BSTR ContextId, SHORT* config) noexcept override;
    HRESULT ContextIdToTSBInterface(BSTR ContextId, BSTR* Interface) noexcept override;

  protected:
    ~CDeviceUtils() = default;

  private:
    /// A new object of the class that handles the device. It doesn't lock the device. Empty if
    /// there is no such class, or if the object can't be created.
    ComPtr<IPhotoDevice> createDevice(const std::u16string& id);
    /// Sets `answer` to whether the device answers TRUE to a message. S_FALSE means that no device
    /// was asked or the device didn't answer; E_FAIL, that createDevice() gave no object.
    HRESULT askDevice(const std::u16string& id, std::u16string_view message, bool& answer);

    CDeviceUtilFunctions utilFunctions;
    ComPtr<IDeviceUtils> delegateUtils;  // of the class that answers instead; may be empty
};

}  // namespace zlk
