// Fuzzes the reader of type libraries, which lie beside modules, and the calls that applications
// make with them.

#include "fuzz/Input.h"
#include "platform/automation/TypeLibrary.h"
#include "platform/automation/TypeLibraryObject.h"

using namespace zlk;

namespace {

void readMember(ITypeInfo& info, UINT index) {
    FUNCDESC* member = nullptr;
    fuzz::require(info.GetFuncDesc(index, &member) == S_OK);
    // The reader must have rejected a member with more parameters than callers have room for, or
    // with a pointer to a pointer, which they can't read.
    fuzz::require(member->cParams >= 0 && member->cParams <= SHORT{typelib::mostParameters});
    for (SHORT i = 0; i < member->cParams; ++i) {
        const TYPEDESC& type = member->lprgelemdescParam[i].tdesc;
        fuzz::require((type.vt == VT_PTR ? type.lptdesc->vt : type.vt) != VT_PTR);
    }
    BSTR names[typelib::mostParameters + 1] = {};
    UINT count = 0;
    if (SUCCEEDED(info.GetNames(member->memid, names, std::size(names), &count)))
        while (count > 0) SysFreeString(names[--count]);
    info.ReleaseFuncDesc(member);
}

/// Calls a member with more arguments than any can have. The call must not reach the object, which
/// isn't a real one: it would crash there.
void callWrongly(ITypeInfo& info, MEMBERID id) {
    VARIANT arguments[typelib::mostParameters + 1] = {};
    for (VARIANT& argument : arguments) argument.vt = VT_NULL;
    DISPPARAMS parameters{arguments, nullptr, std::size(arguments), 0};
    void* instance = &parameters;
    VARIANT result;
    fuzz::require(FAILED(info.Invoke(instance, id, DISPATCH_METHOD | DISPATCH_PROPERTYGET,
                                     &parameters, &result, nullptr, nullptr)));
}

/// Reads everything about a type, and calls its members.
void readType(ITypeInfo& info) {
    TYPEATTR* attributes = nullptr;
    fuzz::require(info.GetTypeAttr(&attributes) == S_OK);
    const UINT count = attributes->cFuncs;
    info.ReleaseTypeAttr(attributes);
    for (UINT i = 0; i < count; ++i) readMember(info, i);
    for (MEMBERID id = -2; id < 20; ++id) callWrongly(info, id);
    for (const UINT index : {0u, 1u, 0xFFFFFFFFu}) {
        HREFTYPE type = 0;
        ComPtr<ITypeInfo> other;
        if (SUCCEEDED(info.GetRefTypeOfImplType(index, &type)))
            fuzz::require(info.GetRefTypeInfo(type, other.out()) == S_OK);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto read = platform::readTypeLibrary(std::as_bytes(std::span(data, size)));
    if (!read) return 0;
    fuzz::require(!read->name.empty());
    ComPtr<ITypeLib> library;
    *library.out() = new platform::TypeLibraryObject(
        std::make_shared<const platform::TypeLibrary>(*std::move(read)));
    for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
        ComPtr<ITypeInfo> info;
        fuzz::require(library->GetTypeInfo(i, info.out()) == S_OK);
        readType(*info.get());
    }
    return 0;
}
