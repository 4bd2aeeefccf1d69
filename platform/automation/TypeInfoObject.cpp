#include "platform/automation/TypeInfoObject.h"

#include <algorithm>
#include <array>
#include <new>
#include <utility>

#include "platform/automation/MemberCall.h"
#include "platform/automation/MemberDescription.h"
#include "platform/automation/TypeLibraryObject.h"
#include "platform/component_object.h"
#include "platform/immortal.h"
#include "platform/text.h"

namespace zlk::platform {
namespace {

using typelib::TypeKind;

// The lower 16 bits of an HREFTYPE are a type's place in a library. Above them, one of two bits may
// be set.
constexpr HREFTYPE otherSide = 0x10000;  // leads to the other TypeSide of the dual interface
constexpr HREFTYPE baseType = 0x20000;   // the place is one in the library of the base types

/// The base interfaces, and for each the slot of the virtual table at which the own members of an
/// interface based on it begin. The members of the base interfaces themselves aren't described.
enum Base : HREFTYPE { Unknown, Dispatch };
constexpr std::size_t slotsOf[] = {3, 7};

// For find(): any kind of member. Of a property's two functions, find() then gives the one that
// stands first.
constexpr WORD anyKind = 0xFFFF;

// The id under which automation clients know the library of the base interfaces.
const GUID baseLibraryId{0x00020430, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

// A library of the two base interfaces, made at its first use.
struct BaseTypes {
    std::shared_ptr<const TypeLibrary> library = std::make_shared<const TypeLibrary>(
        TypeLibrary{.id = baseLibraryId,
                    .majorVersion = 2,
                    .minorVersion = 0,
                    .locale = 0,
                    .name = u"stdole",
                    .help = {},
                    .imported = {},
                    .types = {baseEntry(iidOf<IUnknown>, u"IUnknown"),
                              baseEntry(iidOf<IDispatch>, u"IDispatch")}});

    static TypeEntry baseEntry(const GUID& id, std::u16string name) {
        return {.id = id,
                .kind = TypeKind::Interface,
                .name = std::move(name),
                .help = {},
                .members = {}};
    }
};

const std::shared_ptr<const TypeLibrary>& baseTypes() {
    static Immortal<BaseTypes> types;
    return types->library;
}

HRESULT giveText(std::u16string_view text, BSTR* place) {
    if (!place) return S_OK;
    *place = Bstr(text).detach();
    return *place ? S_OK : E_OUTOFMEMORY;
}

HRESULT giveTypeInfo(std::shared_ptr<const TypeLibrary> library, std::size_t index, TypeSide side,
                     ITypeInfo** info) {
    *info = new (std::nothrow) TypeInfoObject(std::move(library), index, side);
    return *info ? S_OK : E_OUTOFMEMORY;
}

/// The place of a parameter among those for which a caller by name passes arguments; DISPID_UNKNOWN
/// if none has this name.
MEMBERID placeOf(std::u16string_view name, const TypeMember& member) {
    const auto found = std::ranges::find_if(member.parameters, [&](const TypeParameter& each) {
        return !(each.flags & typelib::retval) && equalIgnoringCase(each.name, name);
    });
    return found == member.parameters.end()
               ? DISPID_UNKNOWN
               : static_cast<MEMBERID>(found - member.parameters.begin());
}

}  // namespace

TYPEKIND kindOf(const TypeEntry& type) noexcept {
    return type.kind == TypeKind::Class           ? TKIND_COCLASS
           : type.kind == TypeKind::DualInterface ? TKIND_DISPATCH
                                                  : TKIND_INTERFACE;
}

HRESULT giveDocumentation(std::u16string_view ownName, std::u16string_view ownHelp, BSTR* name,
                          BSTR* help, DWORD* helpContext, BSTR* helpFile) noexcept {
    if (helpContext) *helpContext = 0;
    if (helpFile) *helpFile = nullptr;
    if (help) *help = nullptr;
    if (const HRESULT given = giveText(ownName, name); FAILED(given)) return given;
    const HRESULT given = giveText(ownHelp, help);
    if (FAILED(given) && name) SysFreeString(std::exchange(*name, nullptr));
    return given;
}

TypeInfoObject::TypeInfoObject(std::shared_ptr<const TypeLibrary> library, std::size_t index,
                               TypeSide side) noexcept
    : library_(std::move(library)), index_(index), type_(library_->types[index]), side_(side) {}

bool TypeInfoObject::isDispatch() const noexcept {
    return type_.kind == TypeKind::DualInterface && side_ == TypeSide::Dispatch;
}

std::size_t TypeInfoObject::firstSlot() const noexcept {
    return slotsOf[type_.kind == TypeKind::DualInterface ? Dispatch : Unknown];
}

const TypeMember* TypeInfoObject::find(MEMBERID id, WORD kinds) const noexcept {
    const auto found = std::ranges::find_if(type_.members, [&](const TypeMember& member) {
        return member.id == id && (static_cast<WORD>(member.kind) & kinds);
    });
    return found == type_.members.end() ? nullptr : &*found;
}

HRESULT TypeInfoObject::GetTypeAttr(TYPEATTR** attributes) noexcept {
    if (!attributes) return E_INVALIDARG;
    auto* const made = *attributes = new (std::nothrow) TYPEATTR{};
    if (!made) return E_OUTOFMEMORY;
    made->guid = type_.id;
    made->lcid = library_->locale;
    made->memidConstructor = made->memidDestructor = MEMBERID_NIL;
    made->wMajorVerNum = library_->majorVersion;
    made->wMinorVerNum = library_->minorVersion;
    made->typekind = kindOf(type_);
    made->cFuncs = static_cast<WORD>(type_.members.size());
    made->cImplTypes = type_.id == iidOf<IUnknown> ? 0 : 1;
    if (type_.kind == TypeKind::Class) {
        made->wTypeFlags = TYPEFLAG_FCANCREATE;
        return S_OK;
    }
    // What a caller has of an interface is a pointer.
    made->cbSizeInstance = made->cbAlignment = sizeof(void*);
    made->cbSizeVft = static_cast<WORD>((firstSlot() + type_.members.size()) * sizeof(void*));
    if (type_.kind == TypeKind::DualInterface) {
        if (side_ == TypeSide::VirtualTable) made->typekind = TKIND_INTERFACE;
        made->wTypeFlags = TYPEFLAG_FDUAL | TYPEFLAG_FOLEAUTOMATION | TYPEFLAG_FDISPATCHABLE;
    }
    return S_OK;
}

void TypeInfoObject::ReleaseTypeAttr(TYPEATTR* attributes) noexcept {
    delete attributes;
}

HRESULT TypeInfoObject::GetTypeComp(ITypeComp** binder) noexcept {
    if (!binder) return E_INVALIDARG;
    *binder = nullptr;
    return E_NOTIMPL;
}

HRESULT TypeInfoObject::GetFuncDesc(UINT index, FUNCDESC** member) noexcept {
    if (!member) return E_INVALIDARG;
    *member = nullptr;
    if (index >= type_.members.size()) return TYPE_E_ELEMENTNOTFOUND;
    *member = new (std::nothrow)
        MemberDescription(type_.members[index], firstSlot() + index, isDispatch());
    return *member ? S_OK : E_OUTOFMEMORY;
}

void TypeInfoObject::ReleaseFuncDesc(FUNCDESC* member) noexcept {
    delete static_cast<MemberDescription*>(member);
}

HRESULT TypeInfoObject::GetVarDesc(UINT, VARDESC** variable) noexcept {
    if (!variable) return E_INVALIDARG;
    *variable = nullptr;
    return TYPE_E_ELEMENTNOTFOUND;
}

void TypeInfoObject::ReleaseVarDesc(VARDESC*) noexcept {}

HRESULT TypeInfoObject::GetNames(MEMBERID id, BSTR* names, UINT room, UINT* count) noexcept {
    if (!names || !count) return E_INVALIDARG;
    *count = 0;
    const TypeMember* const member = find(id, anyKind);
    if (!member) return TYPE_E_ELEMENTNOTFOUND;
    // S_FALSE means that there is no room for more names, which is a success.
    const auto give = [&](std::u16string_view name) {
        if (*count >= room) return S_FALSE;
        const HRESULT given = giveText(name, &names[*count]);
        if (SUCCEEDED(given)) ++*count;
        return given;
    };
    HRESULT given = give(member->name);
    for (const TypeParameter& parameter : member->parameters) {
        if (given != S_OK) break;
        if (!isDispatch() || !(parameter.flags & typelib::retval)) given = give(parameter.name);
    }
    if (SUCCEEDED(given)) return S_OK;
    // After a failure the caller gets nothing.
    while (*count > 0) SysFreeString(std::exchange(names[--*count], nullptr));
    return given;
}

HRESULT TypeInfoObject::GetRefTypeOfImplType(UINT index, HREFTYPE* type) noexcept {
    if (!type) return E_INVALIDARG;
    const bool isDual = type_.kind == TypeKind::DualInterface;
    if (index == static_cast<UINT>(-1) && isDual) {
        *type = otherSide | static_cast<HREFTYPE>(index_);
        return S_OK;
    }
    if (index != 0 || type_.id == iidOf<IUnknown>) return TYPE_E_ELEMENTNOTFOUND;
    *type = type_.kind == TypeKind::Class ? static_cast<HREFTYPE>(type_.defaultInterface)
                                          : baseType | (isDual ? Dispatch : Unknown);
    return S_OK;
}

HRESULT TypeInfoObject::GetImplTypeFlags(UINT index, LONG* flags) noexcept {
    if (!flags) return E_INVALIDARG;
    HREFTYPE type;
    *flags = type_.kind == TypeKind::Class ? IMPLTYPEFLAG_FDEFAULT : 0;
    return GetRefTypeOfImplType(index, &type);
}

HRESULT TypeInfoObject::GetRefTypeInfo(HREFTYPE type, ITypeInfo** info) noexcept {
    if (!info) return E_INVALIDARG;
    *info = nullptr;
    const std::size_t index = type & 0xFFFF;
    const HREFTYPE kind = type - static_cast<HREFTYPE>(index);
    if (kind == otherSide && index == index_) {
        const bool byTable = side_ == TypeSide::Dispatch;
        return giveTypeInfo(library_, index, byTable ? TypeSide::VirtualTable : TypeSide::Dispatch,
                            info);
    }
    return guarded([&] {
        const auto& library = kind == baseType ? baseTypes() : library_;
        if ((kind != 0 && kind != baseType) || index >= library->types.size())
            return TYPE_E_ELEMENTNOTFOUND;
        return giveTypeInfo(library, index, TypeSide::Dispatch, info);
    });
}

HRESULT TypeInfoObject::GetIDsOfNames(WCHAR** names, UINT count, MEMBERID* ids) noexcept {
    if (!names || !ids || count == 0) return E_INVALIDARG;
    std::fill_n(ids, count, DISPID_UNKNOWN);
    const auto isMember = [&](const TypeMember& member) {
        return names[0] && equalIgnoringCase(member.name, names[0]);
    };
    for (const TypeMember& member : type_.members) {
        if (!isMember(member)) continue;
        ids[0] = member.id;
        // The loop goes on after a match: the reader and the writer of a property share a name, and
        // their parameters differ.
        for (UINT i = 1; i < count; ++i)
            if (ids[i] == DISPID_UNKNOWN && names[i]) ids[i] = placeOf(names[i], member);
    }
    const bool allKnown = std::find(ids, ids + count, DISPID_UNKNOWN) == ids + count;
    return allKnown ? S_OK : DISP_E_UNKNOWNNAME;
}

HRESULT TypeInfoObject::Invoke(void* instance, MEMBERID id, WORD flags, DISPPARAMS* parameters,
                               VARIANT* result, EXCEPINFO* exception,
                               UINT* argumentError) noexcept {
    emptyAnswer(result, exception);
    if (!instance || !parameters) return E_INVALIDARG;
    if (type_.kind == TypeKind::Class) return TYPE_E_WRONGTYPEKIND;
    const TypeMember* const member = find(id, flags);
    if (!member) return DISP_E_MEMBERNOTFOUND;
    MemberCall call(*member, *parameters);
    UINT wrong = 0;
    if (const HRESULT bound = call.bind(wrong); FAILED(bound)) {
        if (argumentError) *argumentError = wrong;
        return bound;
    }
    // The members of a type stand in the order of its virtual table.
    const auto slot = firstSlot() + static_cast<std::size_t>(member - type_.members.data());
    const HRESULT called = call.call(instance, slot);
    if (FAILED(called)) {
        explain(*member, called, exception);
        return DISP_E_EXCEPTION;
    }
    call.handOut(result);
    return called;
}

void TypeInfoObject::explain(const TypeMember& member, HRESULT failure,
                             EXCEPINFO* exception) const noexcept {
    if (!exception) return;
    // Texts for which there is no memory are left out; the number is always given.
    std::array<WCHAR, 256> text;
    const DWORD length =
        FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM, nullptr, static_cast<DWORD>(failure), 0,
                       text.data(), static_cast<DWORD>(text.size()));
    std::array<WCHAR, 512> description;
    const FormatArgument parts[] = {type_.name, member.name,
                                    std::u16string_view(text.data(), length)};
    formatWide(description.data(), description.size(), u"%s.%s: %s", parts);
    exception->scode = failure;
    exception->bstrSource = SysAllocString(library_->name.c_str());
    exception->bstrDescription = SysAllocString(description.data());
}

HRESULT TypeInfoObject::GetDocumentation(MEMBERID id, BSTR* name, BSTR* help, DWORD* helpContext,
                                         BSTR* helpFile) noexcept {
    if (id == MEMBERID_NIL)
        return giveDocumentation(type_.name, type_.help, name, help, helpContext, helpFile);
    const TypeMember* const member = find(id, anyKind);
    return member ? giveDocumentation(member->name, member->help, name, help, helpContext, helpFile)
                  : TYPE_E_ELEMENTNOTFOUND;
}

HRESULT TypeInfoObject::GetDllEntry(MEMBERID, INVOKEKIND, BSTR*, BSTR*, WORD*) noexcept {
    return TYPE_E_BADMODULEKIND;
}

HRESULT TypeInfoObject::AddressOfMember(MEMBERID, INVOKEKIND, void**) noexcept {
    return TYPE_E_BADMODULEKIND;
}

HRESULT TypeInfoObject::CreateInstance(IUnknown* outer, const GUID& iid, void** object) noexcept {
    if (!object) return E_POINTER;
    *object = nullptr;
    if (type_.kind != TypeKind::Class) return TYPE_E_WRONGTYPEKIND;
    return CoCreateInstance(type_.id, outer, CLSCTX_ALL, iid, object);
}

HRESULT TypeInfoObject::GetMops(MEMBERID, BSTR* text) noexcept {
    if (!text) return E_INVALIDARG;
    *text = nullptr;
    return S_OK;
}

HRESULT TypeInfoObject::GetContainingTypeLib(ITypeLib** library, UINT* index) noexcept {
    if (!library) return E_INVALIDARG;
    if (index) *index = static_cast<UINT>(index_);
    *library = new (std::nothrow) TypeLibraryObject(library_);
    return *library ? S_OK : E_OUTOFMEMORY;
}

}  // namespace zlk::platform
