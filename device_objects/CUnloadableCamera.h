#pragma once
// The component by which an application unloads the pictures of one device.

#include "ZlkCamTr.h"
#include "device_objects/CDevBaseClass.h"
#include "platform/automation_object.h"
#include "platform/component_object.h"

namespace zlk {

/// Implements IPhotoDevice; server/ZlkCamTr.idl describes the methods and their results.
class CUnloadableCamera : public ObjectProgressInterface,
                          public DispatchImpl<IPhotoDevice>,
                          public CDevBaseClass {
  public:
    using Interfaces = InterfaceList<IPhotoDevice, IDispatch>;

    /// As in DispatchImpl, except that the progress argument of a listing or transfer is converted
    /// (see ProgressArgument).
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

    /// Passes a report on to the application, but not more than one in 250 ms. The first report of
    /// the object's life, and reports outside of 1 to 99 per cent, always pass. The result is false
    /// if the callback returns anything but S_OK. For a report that is held back it is true, so
    /// that the transfer goes on.
    bool reportProgress(std::int32_t percent) noexcept override;

  protected:
    CUnloadableCamera() = default;
    ~CUnloadableCamera();

  private:
    class CallbackScope;

    /// The body of SaveFileData().
    DeviceCode saveFile(CImageDev& device, BSTR id, BSTR fileName);

    IProgressCallback* progressCallback = nullptr;  // borrowed; set during a listing or transfer
    DWORD lastProgressTick = 0;  // milliseconds; when the last report was passed on
};

}  // namespace zlk
