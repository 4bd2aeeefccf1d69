#pragma once
// The ITypeLib of a library.

#include <memory>

#include "platform/automation/CountedObject.h"
#include "platform/automation/TypeLibrary.h"
#include "platform/type_library.h"

namespace zlk::platform {

/// Several objects may share one library, which is never changed.
class TypeLibraryObject final : public CountedObject<ITypeLib> {
  public:
    explicit TypeLibraryObject(std::shared_ptr<const TypeLibrary> library) noexcept;

    UINT GetTypeInfoCount() noexcept override;
    HRESULT GetTypeInfo(UINT index, ITypeInfo** info) noexcept override;
    HRESULT GetTypeInfoType(UINT index, TYPEKIND* kind) noexcept override;
    HRESULT GetTypeInfoOfGuid(const GUID& id, ITypeInfo** info) noexcept override;
    HRESULT GetLibAttr(TLIBATTR** attributes) noexcept override;
    HRESULT GetTypeComp(ITypeComp** binder) noexcept override;
    HRESULT GetDocumentation(LONG index, BSTR* name, BSTR* help, DWORD* helpContext,
                             BSTR* helpFile) noexcept override;
    HRESULT IsName(WCHAR* name, ULONG hash, BOOL* found) noexcept override;
    HRESULT FindName(WCHAR* name, ULONG hash, ITypeInfo** infos, MEMBERID* ids,
                     WORD* count) noexcept override;
    void ReleaseTLibAttr(TLIBATTR* attributes) noexcept override;

  private:
    std::shared_ptr<const TypeLibrary> library_;
};

}  // namespace zlk::platform
