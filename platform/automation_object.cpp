#include "platform/automation_object.h"

#include "platform/automation/TypeLibraryFile.h"
#include "platform/automation/TypeLibraryObject.h"
#include "platform/component_object.h"
#include "platform/modules.h"

namespace zlk {
namespace {

/// Whether a number has the form of a locale id: a language in the low 16 bits, and a sort order in
/// the next four. Any language will do, since names are the same in all.
bool isLocale(DWORD localeId) {
    return localeId < 0x100000;
}

// Describes an interface by the library of the module that contains `address`.
HRESULT load(const void* address, const GUID& iid, ITypeInfo** info) {
    return guarded([&] {
        platform::FoundTypeLibrary found;
        const HRESULT loaded = platform::loadOwnTypeLibrary(moduleFromAddress(address), found);
        if (FAILED(loaded)) return loaded;
        ComPtr<ITypeLib> library;
        *library.out() = new platform::TypeLibraryObject(std::move(found.library));
        return library->GetTypeInfoOfGuid(iid, info);
    });
}

}  // namespace

DispatchTable::~DispatchTable() {
    if (ITypeInfo* const info = info_.exchange(nullptr)) info->Release();
}

HRESULT DispatchTable::find(DWORD localeId, ITypeInfo*& info) noexcept {
    if (!isLocale(localeId)) return DISP_E_UNKNOWNLCID;
    info = info_.load(std::memory_order_acquire);
    if (info) return S_OK;
    ITypeInfo* made = nullptr;
    if (const HRESULT loaded = load(this, iid_, &made); FAILED(loaded)) return loaded;
    // If several threads come at once, they all use the description that was stored first.
    if (info_.compare_exchange_strong(info, made, std::memory_order_acq_rel))
        info = made;
    else
        made->Release();
    return S_OK;
}

HRESULT DispatchTable::getTypeInfo(UINT index, DWORD localeId, ITypeInfo** info) noexcept {
    if (!info) return E_POINTER;
    *info = nullptr;
    if (index != 0) return DISP_E_BADINDEX;
    ITypeInfo* found = nullptr;
    if (const HRESULT result = find(localeId, found); FAILED(result)) return result;
    found->AddRef();
    *info = found;
    return S_OK;
}

HRESULT DispatchTable::getIdsOfNames(const GUID& reserved, WCHAR** names, UINT count,
                                     DWORD localeId, DISPID* ids) noexcept {
    if (!(reserved == GUID{})) return DISP_E_UNKNOWNINTERFACE;
    ITypeInfo* info = nullptr;
    const HRESULT found = find(localeId, info);
    return FAILED(found) ? found : info->GetIDsOfNames(names, count, ids);
}

HRESULT DispatchTable::invoke(void* object, DISPID id, const GUID& reserved, DWORD localeId,
                              WORD flags, DISPPARAMS* parameters, VARIANT* result,
                              EXCEPINFO* exception, UINT* argumentError) noexcept {
    emptyAnswer(result, exception);
    if (!(reserved == GUID{})) return DISP_E_UNKNOWNINTERFACE;
    ITypeInfo* info = nullptr;
    const HRESULT found = find(localeId, info);
    return FAILED(found)
               ? found
               : info->Invoke(object, id, flags, parameters, result, exception, argumentError);
}

}  // namespace zlk
