#pragma once
// The automation side of the component model: calls by name and dispatch id.

#include "platform/component.h"

/// A value with its type, as automation passes them. Opaque here: what the interfaces of this
/// system declare as a VARIANT* is an object's pointer, passed as such.
struct VARIANT;
struct ITypeInfo;
struct DISPPARAMS;
struct EXCEPINFO;

struct IDispatch : IUnknown {
    virtual HRESULT GetTypeInfoCount(UINT* count) noexcept = 0;
    virtual HRESULT GetTypeInfo(UINT index, DWORD localeId, ITypeInfo** info) noexcept = 0;
    virtual HRESULT GetIDsOfNames(const GUID& reserved, WCHAR** names, UINT count, DWORD localeId,
                                  LONG* dispatchIds) noexcept = 0;
    virtual HRESULT Invoke(LONG dispatchId, const GUID& reserved, DWORD localeId, WORD flags,
                           DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                           UINT* argumentError) noexcept = 0;

  protected:
    ~IDispatch() = default;
};
template <>
inline constexpr GUID iidOf<IDispatch>{0x00020400, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};
