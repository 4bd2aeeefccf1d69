#include "platform/automation/MemberCall.h"

#include <ffi.h>

#include <cstring>

#include "platform/automation/Conversion.h"

namespace zlk::platform {
namespace {

// No parameter has this place.
constexpr std::size_t nowhere = typelib::mostParameters;

VARTYPE typeOf(const TypeParameter& parameter) {
    return static_cast<VARTYPE>(parameter.type);
}

bool isOut(const TypeParameter& parameter) {
    return parameter.flags & typelib::out;
}

// Callers pass DISP_E_PARAMNOTFOUND for an argument that they leave out.
bool isLeftOut(const VARIANT& argument) {
    return argument.vt == VT_ERROR && argument.scode == DISP_E_PARAMNOTFOUND;
}

/// Whether an argument is a reference into which handOut() can store a value of `type`.
bool refersTo(const VARIANT& argument, VARTYPE type) {
    // VT_INT and VT_I4 are two names of one type, and so are VT_UINT and VT_UI4.
    VARTYPE known = argument.vt & ~VT_BYREF;
    if (known == VT_INT) known = VT_I4;
    if (known == VT_UINT) known = VT_UI4;
    return (argument.vt & VT_BYREF) && (known == type || known == VT_VARIANT);
}

ffi_type* foreignType(const TypeParameter& parameter) {
    if (parameter.isPointer) return &ffi_type_pointer;
    switch (parameter.type) {
        using enum typelib::ValueType;
        case Short:
            return &ffi_type_sint16;
        case Long:
            return &ffi_type_sint32;
        case Byte:
            return &ffi_type_uint8;
        case ULong:
            return &ffi_type_uint32;
        case Bstr:
        case Variant:
            break;
    }
    return &ffi_type_pointer;
}

}  // namespace

MemberCall::MemberCall(const TypeMember& member, const DISPPARAMS& arguments) noexcept
    : member_(member),
      arguments_(arguments),
      wanted_(member.parameters.size() - (member.returnsValue() ? 1 : 0)) {
    for (std::size_t i = 0; i < member_.parameters.size(); ++i) places_[i] = {};
}

MemberCall::~MemberCall() {
    for (std::size_t i = 0; i < member_.parameters.size(); ++i)
        if (places_[i].owned) VariantClear(&places_[i].value);
}

std::size_t MemberCall::placeOfNamed(DISPID name) const noexcept {
    if (name == DISPID_PROPERTYPUT && member_.kind == typelib::FunctionKind::PropPut)
        return wanted_ - 1;
    return name >= 0 && static_cast<std::size_t>(name) < wanted_ ? static_cast<std::size_t>(name)
                                                                 : nowhere;
}

HRESULT MemberCall::assign(UINT& argumentError) noexcept {
    const UINT count = arguments_.cArgs, named = arguments_.cNamedArgs;
    if (count != wanted_) return DISP_E_BADPARAMCOUNT;
    if ((count > 0 && !arguments_.rgvarg) || named > count ||
        (named > 0 && !arguments_.rgdispidNamedArgs))
        return E_INVALIDARG;
    for (UINT i = 0; i < count; ++i) {
        // The named arguments stand first, and go where their names say. The others stand after
        // them in reverse order.
        const std::size_t place =
            i < named ? placeOfNamed(arguments_.rgdispidNamedArgs[i]) : count - 1 - i;
        if (place == nowhere || places_[place].argument) {
            argumentError = i;
            return DISP_E_PARAMNOTFOUND;
        }
        places_[place].argument = &arguments_.rgvarg[i];
    }
    return S_OK;
}

HRESULT MemberCall::fill(const TypeParameter& parameter, Place& place) noexcept {
    const VARTYPE type = typeOf(parameter);
    // The function writes into our own place, so that the caller's variable stays as it was if the
    // call fails (handOut).
    if (isOut(parameter)) {
        if (place.argument && !refersTo(*place.argument, type)) return DISP_E_TYPEMISMATCH;
        if (place.argument && !place.argument->byref) return E_POINTER;
        const bool isVariant = type == VT_VARIANT;
        place.value.vt = isVariant ? VT_EMPTY : type;
        place.pointer = isVariant ? static_cast<void*>(&place.value) : &place.value.room;
        place.owned = true;
        return S_OK;
    }
    // A VARIANT* parameter gets the caller's VARIANT itself, or the VARIANT to which that refers,
    // unconverted.
    VARIANT& argument = *place.argument;
    if (type == VT_VARIANT) {
        const bool isReference = argument.vt == (VT_BYREF | VT_VARIANT);
        place.pointer = isReference ? argument.pvarVal : &argument;
        return S_OK;
    }
    if (isLeftOut(argument)) return DISP_E_PARAMNOTOPTIONAL;
    // The value stays the caller's, so a text isn't copied.
    if (argument.vt == type) {
        place.value = argument;
        return S_OK;
    }
    place.owned = true;
    return convert(argument, type, place.value);
}

HRESULT MemberCall::bind(UINT& argumentError) noexcept {
    if (const HRESULT assigned = assign(argumentError); FAILED(assigned)) return assigned;
    for (std::size_t i = 0; i < member_.parameters.size(); ++i) {
        const HRESULT filled = fill(member_.parameters[i], places_[i]);
        if (SUCCEEDED(filled)) continue;
        argumentError = static_cast<UINT>(places_[i].argument - arguments_.rgvarg);
        return filled;
    }
    return S_OK;
}

HRESULT MemberCall::call(void* instance, std::size_t slot) noexcept {
    std::array<ffi_type*, typelib::mostParameters + 1> types;
    std::array<void*, typelib::mostParameters + 1> values;
    // The first argument of a C++ member function is the object.
    types[0] = &ffi_type_pointer;
    values[0] = &instance;
    unsigned count = 1;
    for (const TypeParameter& parameter : member_.parameters) {
        Place& place = places_[count - 1];
        types[count] = foreignType(parameter);
        values[count] =
            parameter.isPointer ? static_cast<void*>(&place.pointer) : &place.value.room;
        ++count;
    }
    ffi_cif interface;
    if (ffi_prep_cif(&interface, FFI_DEFAULT_ABI, count, &ffi_type_sint32, types.data()) != FFI_OK)
        return E_UNEXPECTED;
    using Function = void (*)();
    const auto* const table = *static_cast<Function* const*>(instance);
    // libffi widens a small result to a whole register.
    ffi_sarg result = 0;
    ffi_call(&interface, table[slot], &result, values.data());
    return static_cast<HRESULT>(result);
}

void MemberCall::handOut(VARIANT* result) noexcept {
    for (std::size_t i = 0; i < member_.parameters.size(); ++i) {
        Place& place = places_[i];
        if (!isOut(member_.parameters[i])) continue;
        // The result comes after all parameters that callers pass.
        if (i == wanted_) {
            if (!result) continue;
            *result = place.value;
        } else if (place.argument->vt == (VT_BYREF | VT_VARIANT)) {
            VariantClear(place.argument->pvarVal);
            *place.argument->pvarVal = place.value;
        } else {
            // The caller's BSTR may hold a text already, which the new one replaces.
            if (place.value.vt == VT_BSTR) SysFreeString(*place.argument->pbstrVal);
            std::memcpy(place.argument->byref, &place.value.room, sizeOfType(place.value.vt));
        }
        place.owned = false;
    }
}

}  // namespace zlk::platform
