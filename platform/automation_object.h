#pragma once
// What a class with a dual interface derives from: the interface with its four IDispatch methods
// implemented, so that only the interface's own are left.
//
//     class CDeviceList : public DispatchImpl<IDeviceList> {
//       public:
//         using Interfaces = InterfaceList<IDeviceList, IDispatch>;
//         ...
//     };

#include <type_traits>

#include "platform/automation.h"

namespace zlk {

/// The place of calls by name: until type libraries are read, an object has no type information
/// and says so. Calls through the virtual table need none.
template <class Interface>
class DispatchImpl : public Interface {
    static_assert(std::is_base_of_v<IDispatch, Interface>);

  public:
    HRESULT GetTypeInfoCount(UINT* count) noexcept override {
        if (!count) return E_POINTER;
        *count = 0;
        return S_OK;
    }
    HRESULT GetTypeInfo(UINT, DWORD, ITypeInfo** info) noexcept override {
        if (!info) return E_POINTER;
        *info = nullptr;
        return E_NOTIMPL;
    }
    HRESULT GetIDsOfNames(const GUID&, WCHAR**, UINT, DWORD, LONG*) noexcept override {
        return E_NOTIMPL;
    }
    HRESULT Invoke(LONG, const GUID&, DWORD, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                   UINT*) noexcept override {
        return E_NOTIMPL;
    }

  protected:
    ~DispatchImpl() = default;
};

}  // namespace zlk
