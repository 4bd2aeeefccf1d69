#pragma once
// A base for classes with a dual interface. It implements the four methods of IDispatch, so that
// the class has to implement only the methods that the interface adds.
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

/// The bodies of IDispatch methods for all objects with one interface. They use the type library of
/// the module that the table lies in. A call that needs the library reads it if no call has done so
/// before; it is kept until the module is unloaded. Any thread may call. Results and arguments are
/// those of IDispatch.
class DispatchTable {
  public:
    constexpr explicit DispatchTable(const GUID& iid) noexcept : iid_(iid) {}
    ~DispatchTable();
    DispatchTable(const DispatchTable&) = delete;
    DispatchTable& operator=(const DispatchTable&) = delete;

    HRESULT getTypeInfo(UINT index, DWORD localeId, ITypeInfo** info) noexcept;
    HRESULT getIdsOfNames(const GUID& reserved, WCHAR** names, UINT count, DWORD localeId,
                          DISPID* ids) noexcept;
    /// `object` points to the interface that this table was made for.
    HRESULT invoke(void* object, DISPID id, const GUID& reserved, DWORD localeId, WORD flags,
                   DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                   UINT* argumentError) noexcept;

  private:
    /// Gives the interface's description, which the first call loads and this table owns.
    HRESULT find(DWORD localeId, ITypeInfo*& info) noexcept;

    const GUID& iid_;
    std::atomic<ITypeInfo*> info_ = nullptr;  // owned; null until the first call that needs it
};

#pragma GCC visibility pop

/// Derives from a dual interface and forwards its IDispatch methods to the table of the interface.
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
