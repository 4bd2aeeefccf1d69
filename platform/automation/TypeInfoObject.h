#pragma once
// The description of one type, as applications hold it.

#include <memory>

#include "platform/automation/CountedObject.h"
#include "platform/automation/TypeLibrary.h"
#include "platform/type_library.h"

namespace zlk::platform {

/// As which of its two sides a dual interface is described.
enum class TypeSide { Dispatch, VirtualTable };

class TypeInfoObject final : public CountedObject<ITypeInfo> {
  public:
    /// A type by its place in the library. Other types than dual interfaces have one side only.
    TypeInfoObject(std::shared_ptr<const TypeLibrary> library, std::size_t index,
                   TypeSide side) noexcept;

    HRESULT GetTypeAttr(TYPEATTR** attributes) noexcept override;
    HRESULT GetTypeComp(ITypeComp** binder) noexcept override;
    HRESULT GetFuncDesc(UINT index, FUNCDESC** member) noexcept override;
    HRESULT GetVarDesc(UINT index, VARDESC** variable) noexcept override;
    HRESULT GetNames(MEMBERID id, BSTR* names, UINT room, UINT* count) noexcept override;
    HRESULT GetRefTypeOfImplType(UINT index, HREFTYPE* type) noexcept override;
    HRESULT GetImplTypeFlags(UINT index, LONG* flags) noexcept override;
    HRESULT GetIDsOfNames(WCHAR** names, UINT count, MEMBERID* ids) noexcept override;
    HRESULT Invoke(void* instance, MEMBERID id, WORD flags, DISPPARAMS* parameters, VARIANT* result,
                   EXCEPINFO* exception, UINT* argumentError) noexcept override;
    HRESULT GetDocumentation(MEMBERID id, BSTR* name, BSTR* help, DWORD* helpContext,
                             BSTR* helpFile) noexcept override;
    HRESULT GetDllEntry(MEMBERID id, INVOKEKIND kind, BSTR* module, BSTR* name,
                        WORD* ordinal) noexcept override;
    HRESULT GetRefTypeInfo(HREFTYPE type, ITypeInfo** info) noexcept override;
    HRESULT AddressOfMember(MEMBERID id, INVOKEKIND kind, void** address) noexcept override;
    HRESULT CreateInstance(IUnknown* outer, const GUID& iid, void** object) noexcept override;
    HRESULT GetMops(MEMBERID id, BSTR* text) noexcept override;
    HRESULT GetContainingTypeLib(ITypeLib** library, UINT* index) noexcept override;
    void ReleaseTypeAttr(TYPEATTR* attributes) noexcept override;
    void ReleaseFuncDesc(FUNCDESC* member) noexcept override;
    void ReleaseVarDesc(VARDESC* variable) noexcept override;

  private:
    bool isDispatch() const noexcept;
    std::size_t firstSlot() const noexcept;
    const TypeMember* find(MEMBERID id, WORD kinds) const noexcept;
    void explain(const TypeMember& member, HRESULT failure, EXCEPINFO* exception) const noexcept;

    std::shared_ptr<const TypeLibrary> library_;
    std::size_t index_;
    const TypeEntry& type_;  // of library_
    TypeSide side_;
};

/// What a type of that place is from outside.
TYPEKIND kindOf(const TypeEntry& type) noexcept;

/// Texts for those of the places that aren't null.
HRESULT giveDocumentation(std::u16string_view ownName, std::u16string_view ownHelp, BSTR* name,
                          BSTR* help, DWORD* helpContext, BSTR* helpFile) noexcept;

}  // namespace zlk::platform
