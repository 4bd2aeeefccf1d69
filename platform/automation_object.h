#pragma once
// What a class with a dual interface derives from: the interface with its four IDispatch methods
// implemented, so that only the interface's own are left.
//
//     class CDeviceList : public DispatchImpl<IDeviceList> {
//       public:
//         using Interfaces = InterfaceList<IDeviceList, IDispatch>;
//         ...
//     };

#include <atomic>
#include <type_traits>

#include "platform/automation.h"
#include "platform/type_library.h"

namespace zlk {

#pragma GCC visibility push(default)

/// The IDispatch methods of all objects with one interface, served from the type library of the
/// module that this lies in. The library is read by the first call that needs it, and kept as long
/// as the module is loaded.
class DispatchTable {
  public:
    constexpr explicit DispatchTable(const GUID& iid) noexcept : iid_(iid) {}
    ~DispatchTable();
    DispatchTable(const DispatchTable&) = delete;
    DispatchTable& operator=(const DispatchTable&) = delete;

    HRESULT getTypeInfo(UINT index, DWORD localeId, ITypeInfo** info) noexcept;
    HRESULT getIdsOfNames(const GUID& reserved, WCHAR** names, UINT count, DWORD localeId,
                          DISPID* ids) noexcept;
    /// `object` points to the interface of that id.
    HRESULT invoke(void* object, DISPID id, const GUID& reserved, DWORD localeId, WORD flags,
                   DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                   UINT* argumentError) noexcept;

  private:
    HRESULT find(DWORD localeId, ITypeInfo*& info) noexcept;

    const GUID& iid_;
    std::atomic<ITypeInfo*> info_ = nullptr;
};

#pragma GCC visibility pop

template <class Interface>
class DispatchImpl : public Interface {
    static_assert(std::is_base_of_v<IDispatch, Interface>);

  public:
    HRESULT GetTypeInfoCount(UINT* count) noexcept override {
        if (!count) return E_POINTER;
        *count = 1;
        return S_OK;
    }
    HRESULT GetTypeInfo(UINT index, DWORD localeId, ITypeInfo** info) noexcept override {
        return table.getTypeInfo(index, localeId, info);
    }
    HRESULT GetIDsOfNames(const GUID& reserved, WCHAR** names, UINT count, DWORD localeId,
                          DISPID* ids) noexcept override {
        return table.getIdsOfNames(reserved, names, count, localeId, ids);
    }
    HRESULT Invoke(DISPID id, const GUID& reserved, DWORD localeId, WORD flags,
                   DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                   UINT* argumentError) noexcept override {
        Interface* const object = this;
        return table.invoke(object, id, reserved, localeId, flags, parameters, result, exception,
                            argumentError);
    }

  protected:
    ~DispatchImpl() = default;

  private:
    static inline DispatchTable table{iidOf<Interface>};
};

}  // namespace zlk
