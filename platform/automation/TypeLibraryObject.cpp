#include "platform/automation/TypeLibraryObject.h"

#include <algorithm>
#include <new>
#include <optional>
#include <utility>

#include "platform/automation/TypeInfoObject.h"
#include "platform/automation/TypeLibraryKeys.h"
#include "platform/text.h"

namespace zlk::platform {
namespace {

/// A name in the library's spelling, and the id of its member (MEMBERID_NIL for a type).
struct KnownName {
    const std::u16string& spelling;
    MEMBERID id;
};

std::optional<KnownName> findIn(const TypeEntry& type, const WCHAR* name) {
    if (equalIgnoringCase(type.name, name)) return KnownName{type.name, MEMBERID_NIL};
    for (const TypeMember& member : type.members)
        if (equalIgnoringCase(member.name, name)) return KnownName{member.name, member.id};
    return std::nullopt;
}

}  // namespace

TypeLibraryObject::TypeLibraryObject(std::shared_ptr<const TypeLibrary> library) noexcept
    : library_(std::move(library)) {}

UINT TypeLibraryObject::GetTypeInfoCount() noexcept {
    return static_cast<UINT>(library_->types.size());
}

HRESULT TypeLibraryObject::GetTypeInfo(UINT index, ITypeInfo** info) noexcept {
    if (!info) return E_INVALIDARG;
    *info = nullptr;
    if (index >= library_->types.size()) return TYPE_E_ELEMENTNOTFOUND;
    *info = new (std::nothrow) TypeInfoObject(library_, index, TypeSide::Dispatch);
    return *info ? S_OK : E_OUTOFMEMORY;
}

HRESULT TypeLibraryObject::GetTypeInfoType(UINT index, TYPEKIND* kind) noexcept {
    if (!kind) return E_INVALIDARG;
    if (index >= library_->types.size()) return TYPE_E_ELEMENTNOTFOUND;
    *kind = kindOf(library_->types[index]);
    return S_OK;
}

HRESULT TypeLibraryObject::GetTypeInfoOfGuid(const GUID& id, ITypeInfo** info) noexcept {
    const auto found = std::ranges::find(library_->types, id, &TypeEntry::id);
    return GetTypeInfo(static_cast<UINT>(found - library_->types.begin()), info);
}

HRESULT TypeLibraryObject::GetLibAttr(TLIBATTR** attributes) noexcept {
    if (!attributes) return E_INVALIDARG;
    *attributes = new (std::nothrow) TLIBATTR{.guid = library_->id,
                                              .lcid = library_->locale,
                                              .syskind = ownSystem,
                                              .wMajorVerNum = library_->majorVersion,
                                              .wMinorVerNum = library_->minorVersion,
                                              .wLibFlags = 0};
    return *attributes ? S_OK : E_OUTOFMEMORY;
}

void TypeLibraryObject::ReleaseTLibAttr(TLIBATTR* attributes) noexcept {
    delete attributes;
}

HRESULT TypeLibraryObject::GetTypeComp(ITypeComp** binder) noexcept {
    if (!binder) return E_INVALIDARG;
    *binder = nullptr;
    return E_NOTIMPL;
}

HRESULT TypeLibraryObject::GetDocumentation(LONG index, BSTR* name, BSTR* help, DWORD* helpContext,
                                            BSTR* helpFile) noexcept {
    const auto& types = library_->types;
    if (index == -1)
        return giveDocumentation(library_->name, library_->help, name, help, helpContext, helpFile);
    if (index < 0 || static_cast<std::size_t>(index) >= types.size()) return TYPE_E_ELEMENTNOTFOUND;
    const TypeEntry& type = types[static_cast<std::size_t>(index)];
    return giveDocumentation(type.name, type.help, name, help, helpContext, helpFile);
}

HRESULT TypeLibraryObject::IsName(WCHAR* name, ULONG, BOOL* found) noexcept {
    if (!name || !found) return E_INVALIDARG;
    *found = false;
    for (const TypeEntry& type : library_->types) {
        const auto known = findIn(type, name);
        if (!known) continue;
        // The spelling has the length of the caller's name: only the case of letters differs.
        known->spelling.copy(name, known->spelling.size());
        *found = true;
        break;
    }
    return S_OK;
}

HRESULT TypeLibraryObject::FindName(WCHAR* name, ULONG, ITypeInfo** infos, MEMBERID* ids,
                                    WORD* count) noexcept {
    if (!name || !infos || !ids || !count) return E_INVALIDARG;
    const WORD room = std::exchange(*count, WORD{0});
    for (UINT index = 0; index < library_->types.size() && *count < room; ++index) {
        const auto known = findIn(library_->types[index], name);
        if (!known) continue;
        if (const HRESULT given = GetTypeInfo(index, &infos[*count]); FAILED(given)) {
            while (*count > 0) std::exchange(infos[--*count], nullptr)->Release();
            return given;
        }
        ids[(*count)++] = known->id;
    }
    return S_OK;
}

}  // namespace zlk::platform
