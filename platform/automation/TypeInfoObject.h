#pragma once
// The ITypeInfo of one type of a library.

#include <memory>

#include "platform/automation/CountedObject.h"
#include "platform/automation/TypeLibrary.h"
#include "platform/type_library.h"

namespace zlk::platform {

/// A dual interface has two descriptions: by dispatch ids, and as a virtual table.
enum class TypeSide { Dispatch, VirtualTable };

class TypeInfoObject final : public CountedObject<ITypeInfo> {
  public:
    /// Describes the type at `index` of a library, which is kept alive. `side` matters for dual
    /// interfaces only.
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
    /// Whether this is the dispatch side of a dual interface.
    bool isDispatch() const noexcept;
    /// The slot of the first own member in the virtual table.
    std::size_t firstSlot() const noexcept;
    /// The member with an id and one of `kinds` (INVOKEKIND bits); null if there is none.
    const TypeMember* find(MEMBERID id, WORD kinds) const noexcept;
    /// Fills in `exception`, which may be null, for a member that failed.
    void explain(const TypeMember& member, HRESULT failure, EXCEPINFO* exception) const noexcept;

    std::shared_ptr<const TypeLibrary> library_;
    std::size_t index_;      // place in the library
    const TypeEntry& type_;  // part of *library_
    TypeSide side_;
};

/// The kind that ITypeLib gives for a type: a dual interface counts as TKIND_DISPATCH.
TYPEKIND kindOf(const TypeEntry& type) noexcept;

/// Gives a name and a help text, the help context 0 and no help file. Each out argument may be
/// null. If there is no memory, neither text is given (E_OUTOFMEMORY).
HRESULT giveDocumentation(std::u16string_view ownName, std::u16string_view ownHelp, BSTR* name,
                          BSTR* help, DWORD* helpContext, BSTR* helpFile) noexcept;

}  // namespace zlk::platform
