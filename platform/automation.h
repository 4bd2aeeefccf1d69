#pragma once
// The automation side of the component model: values that carry their type, and calls by name.
// It is how scripts and other languages reach a component of which they know a ProgID and nothing
// else. What an object's members are is told by its type library (type_library.h).
//
// The layouts are fixed: other languages write them out for themselves.

#include "platform/component.h"

/// The type of a value; with VT_BYREF it is a pointer to one, which the caller owns.
using VARTYPE = WORD;
inline constexpr VARTYPE VT_EMPTY = 0;  ///< no value; converts to 0 and to the empty text
inline constexpr VARTYPE VT_NULL = 1;   ///< known to be none; converts to nothing
inline constexpr VARTYPE VT_I2 = 2;
inline constexpr VARTYPE VT_I4 = 3;
inline constexpr VARTYPE VT_R4 = 4;
inline constexpr VARTYPE VT_R8 = 5;
inline constexpr VARTYPE VT_BSTR = 8;
inline constexpr VARTYPE VT_DISPATCH = 9;
inline constexpr VARTYPE VT_ERROR = 10;  ///< with DISP_E_PARAMNOTFOUND: an argument left out
inline constexpr VARTYPE VT_BOOL = 11;
inline constexpr VARTYPE VT_VARIANT = 12;  ///< only with VT_BYREF
inline constexpr VARTYPE VT_UNKNOWN = 13;
inline constexpr VARTYPE VT_I1 = 16;
inline constexpr VARTYPE VT_UI1 = 17;
inline constexpr VARTYPE VT_UI2 = 18;
inline constexpr VARTYPE VT_UI4 = 19;
inline constexpr VARTYPE VT_I8 = 20;
inline constexpr VARTYPE VT_UI8 = 21;
inline constexpr VARTYPE VT_INT = 22;
inline constexpr VARTYPE VT_UINT = 23;
inline constexpr VARTYPE VT_BYREF = 0x4000;

using VARIANT_BOOL = SHORT;
inline constexpr VARIANT_BOOL VARIANT_TRUE = -1;
inline constexpr VARIANT_BOOL VARIANT_FALSE = 0;

struct IDispatch;
struct ITypeInfo;

/// A value with its type. Whoever holds one owns the text or the object in it, and lets go of it
/// by VariantClear.
struct VARIANT {
    VARTYPE vt;
    WORD wReserved1, wReserved2, wReserved3;
    union {
        SHORT iVal;
        LONG lVal;
        std::int64_t llVal;
        std::int8_t cVal;
        BYTE bVal;
        WORD uiVal;
        ULONG ulVal;
        std::uint64_t ullVal;
        float fltVal;
        double dblVal;
        VARIANT_BOOL boolVal;
        HRESULT scode;
        BSTR bstrVal;
        IUnknown* punkVal;
        IDispatch* pdispVal;
        void* byref;
        BSTR* pbstrVal;
        IUnknown** ppunkVal;
        VARIANT* pvarVal;
        void* room[2];  ///< what the largest of the types that others know takes
    };
};
static_assert(sizeof(VARIANT) == 8 + 2 * sizeof(void*));

using DISPID = LONG;
inline constexpr DISPID DISPID_UNKNOWN = -1;      ///< in place of the id of an unknown name
inline constexpr DISPID DISPID_PROPERTYPUT = -3;  ///< names the new value of a property

/// The arguments of a call, which stay the caller's: the last one first. The first `cNamedArgs`
/// of them go to the parameters that `rgdispidNamedArgs` names, by place from 0.
struct DISPPARAMS {
    VARIANT* rgvarg;
    DISPID* rgdispidNamedArgs;
    UINT cArgs;
    UINT cNamedArgs;
};

/// Why a call failed. The texts belong to the caller.
struct EXCEPINFO {
    WORD wCode;
    WORD wReserved;
    BSTR bstrSource;
    BSTR bstrDescription;
    BSTR bstrHelpFile;
    DWORD dwHelpContext;
    void* pvReserved;
    HRESULT (*pfnDeferredFillIn)(EXCEPINFO* exception);  ///< null: all is filled in
    HRESULT scode;                                       ///< what the member itself gave
};

inline constexpr WORD DISPATCH_METHOD = 1;
inline constexpr WORD DISPATCH_PROPERTYGET = 2;
inline constexpr WORD DISPATCH_PROPERTYPUT = 4;
inline constexpr WORD DISPATCH_PROPERTYPUTREF = 8;  ///< no member here is put by reference

/// An object that is called by name. It answers on the thread that made it, as its other
/// interfaces do. `localeId` may be any that could be one: names are the same in all languages.
struct IDispatch : IUnknown {
    /// 1: there is a type library behind the object.
    virtual HRESULT GetTypeInfoCount(UINT* count) noexcept = 0;
    /// What the object's members are; the caller releases it. DISP_E_BADINDEX unless `index` is 0,
    /// or what LoadTypeLib answers.
    virtual HRESULT GetTypeInfo(UINT index, DWORD localeId, ITypeInfo** info) noexcept = 0;
    /// The dispatch id of the member names[0], and the places of its parameters of the other
    /// names; case doesn't matter. DISP_E_UNKNOWNNAME where one isn't known, whose id is then
    /// DISPID_UNKNOWN; the others are filled in all the same. `reserved` is all zeros
    /// (DISP_E_UNKNOWNINTERFACE).
    virtual HRESULT GetIDsOfNames(const GUID& reserved, WCHAR** names, UINT count, DWORD localeId,
                                  DISPID* dispatchIds) noexcept = 0;
    /// Calls a member. `flags` says as what (DISPATCH_...; a method and a property's reader may
    /// both be allowed). Arguments convert between numbers and text where the value allows it, and
    /// may be references; an out parameter takes a reference to its type or to a VARIANT. The new
    /// value of a property is the one argument, named DISPID_PROPERTYPUT. `result` (null: not
    /// wanted) takes what the member returns, which the caller clears; VT_EMPTY on failure.
    ///
    /// DISP_E_EXCEPTION where the member itself failed: exception->scode (null: not wanted) is its
    /// result. Otherwise the member wasn't called: DISP_E_MEMBERNOTFOUND, DISP_E_BADPARAMCOUNT,
    /// E_INVALIDARG, DISP_E_UNKNOWNLCID, E_OUTOFMEMORY; or with the place of the argument among
    /// rgvarg in *argumentError: DISP_E_TYPEMISMATCH, DISP_E_OVERFLOW, DISP_E_PARAMNOTFOUND (no
    /// parameter of that name), DISP_E_PARAMNOTOPTIONAL (left out), E_POINTER (a null reference).
    virtual HRESULT Invoke(DISPID dispatchId, const GUID& reserved, DWORD localeId, WORD flags,
                           DISPPARAMS* parameters, VARIANT* result, EXCEPINFO* exception,
                           UINT* argumentError) noexcept = 0;

  protected:
    ~IDispatch() = default;
};
template <>
inline constexpr GUID iidOf<IDispatch>{0x00020400, 0, 0, {0xC0, 0, 0, 0, 0, 0, 0, 0x46}};

#pragma GCC visibility push(default)
extern "C" {

/// Makes an empty value of raw memory; nothing is let go of.
void VariantInit(VARIANT* value) noexcept;
/// Lets go of what the value holds, and empties it. DISP_E_BADVARTYPE for a type that isn't known,
/// which stays as it is.
HRESULT VariantClear(VARIANT* value) noexcept;
/// Makes `target`, which is cleared before, hold the same; a reference stays one. E_OUTOFMEMORY,
/// DISP_E_BADVARTYPE.
HRESULT VariantCopy(VARIANT* target, const VARIANT* source) noexcept;
/// Makes `target`, which is cleared before and may be `source`, hold the value as another type:
/// numbers, texts (with a decimal point, whatever the locale; VT_BOOL is -1 or 0), VT_BOOL, and
/// objects among each other. References are followed. Fractions are rounded to the nearest whole
/// number, halves to the even one. `flags` is 0. On failure `target` is unchanged:
/// DISP_E_TYPEMISMATCH, DISP_E_OVERFLOW, DISP_E_BADVARTYPE (no value can be of that type),
/// E_POINTER, E_OUTOFMEMORY.
HRESULT VariantChangeType(VARIANT* target, const VARIANT* source, WORD flags,
                          VARTYPE type) noexcept;

}  // extern "C"
#pragma GCC visibility pop

namespace zlk {

/// A VARIANT with an owner.
class Variant {
  public:
    Variant() noexcept { VariantInit(&value_); }
    explicit Variant(LONG number) noexcept : Variant() {
        value_.vt = VT_I4;
        value_.lVal = number;
    }
    explicit Variant(Bstr text) noexcept : Variant() {
        value_.vt = VT_BSTR;
        value_.bstrVal = text.detach();
    }
    Variant(Variant&& other) noexcept : value_(other.detach()) {}
    Variant& operator=(Variant&& other) noexcept {
        const VARIANT value = other.detach();
        VariantClear(&value_);
        value_ = value;
        return *this;
    }
    ~Variant() { VariantClear(&value_); }

    VARIANT* get() noexcept { return &value_; }
    const VARIANT* get() const noexcept { return &value_; }
    VARIANT* operator->() noexcept { return &value_; }
    const VARIANT* operator->() const noexcept { return &value_; }
    /// For calls that hand out a value; drops the one held before.
    VARIANT* out() noexcept {
        VariantClear(&value_);
        return &value_;
    }
    VARIANT detach() noexcept {
        const VARIANT value = value_;
        VariantInit(&value_);
        return value;
    }

  private:
    VARIANT value_;
};

}  // namespace zlk
