#pragma once

#include "ZlkCamTr.h"
#include "device_objects/CDevBaseClass.h"
#include "platform/automation_object.h"
#include "platform/component_object.h"

namespace zlk {

/// The object that an application holds to unload the pictures of one device. Its methods are
/// told in the interface; all but the ones named there give S_OK or E_FAIL with an ErrorCode.
class CUnloadableCamera : public ObjectProgressInterface,
                          public DispatchImpl<IPhotoDevice>,
                          public CDevBaseClass {
  public:
    using Interfaces = InterfaceList<IPhotoDevice, IDispatch>;

    /// As every object's, but for the progress of a transfer (see ProgressArgument).
    HRESULT Invoke(DISPID id, const GUID& reserved, DWORD localeId, WORD flags,
                   DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                   UINT* argumentError) noexcept override;

    HRESULT LockDevice(BSTR cueId) noexcept override;
    HRESULT UnlockDevice() noexcept override;
    HRESULT GetFileInfo(VARIANT* Progress, BSTR* pVal) noexcept override;
    HRESULT SaveFileData(BSTR id, BSTR fileName, VARIANT* Progress) noexcept override;
    HRESULT DeleteFileW(BSTR id) noexcept override;
    HRESULT Escape(BSTR inMsg, BSTR* outMsg) noexcept override;
    HRESULT get_Dpof(BSTR* pVal) noexcept override;
    HRESULT put_Dpof(BSTR val) noexcept override;
    HRESULT get_Intent(BSTR* pVal) noexcept override;
    HRESULT put_Intent(BSTR val) noexcept override;
    HRESULT get_IsConnected(LONG* pVal) noexcept override;
    HRESULT get_DeviceId(BSTR* pVal) noexcept override;
    HRESULT get_ErrorCode(LONG* pVal) noexcept override;
    HRESULT get_DeviceDate(BSTR* pVal) noexcept override;
    HRESULT put_DeviceDate(BSTR val) noexcept override;
    HRESULT get_SupportedDialogs(ULONG* pVal) noexcept override;
    HRESULT ShowDialog(ULONG dialogNum, ULONG* pVal) noexcept override;
    HRESULT SaveThumbnail(BSTR id, BSTR fileName) noexcept override;

    /// Passes a report on to the application: at most one in 250 ms, but the first of the
    /// object's life and all outside of 1 to 99 percent. A report that is held back
    /// returns true: the transfer goes on.
    bool reportProgress(std::int32_t percent) noexcept override;

  protected:
    CUnloadableCamera() = default;
    ~CUnloadableCamera();

  private:
    class CallbackScope;

    DeviceCode saveFile(CImageDev& device, BSTR id, BSTR fileName);

    IProgressCallback* progressCallback = nullptr;  // borrowed, for the length of one transfer
    DWORD lastProgressTick = 0;                     // of the last report that went through
};

}  // namespace zlk
