#pragma once
// The automation side of the component model: values that carry their type, and calls of members by
// name. Scripts and other languages call components through it. The members of an object are
// described by the type library of its module (type_library.h).
//
// The layouts are fixed, because other languages declare these structures for themselves. The
// functions on VARIANTs may be called on any thread, but only one thread at a time may use a value.
// A value that holds an object may be used only on a thread that may use the object.

#include "platform/component.h"

/// The type of a value. With VT_BYREF the value is a pointer to a variable of that type.
using VARTYPE = WORD;
inline constexpr VARTYPE VT_EMPTY = 0;  ///< no value; converts to 0 and to the empty text
inline constexpr VARTYPE VT_NULL = 1;   ///< known to have no value; converts to nothing else
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

/// A truth value. True has all bits set; any value but 0 is taken for true.
using VARIANT_BOOL = SHORT;
inline constexpr VARIANT_BOOL VARIANT_TRUE = -1;
inline constexpr VARIANT_BOOL VARIANT_FALSE = 0;

struct IDispatch;
struct ITypeInfo;

/// A value with its type; `vt` selects the member of the union. The owner of a VARIANT owns the
/// text or the reference in it too, and frees it by VariantClear. A VT_BYREF value owns nothing.
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
        void* room[2];  ///< gives the union the size that other languages expect
    };
};
static_assert(sizeof(VARIANT) == 8 + 2 * sizeof(void*));

using DISPID = LONG;
inline constexpr DISPID DISPID_UNKNOWN = -1;      ///< stands for the id of an unknown name
inline constexpr DISPID DISPID_PROPERTYPUT = -3;  ///< names the new value of a property

/// The arguments of a call, borrowed. The first `cNamedArgs` of them are named: at the index of
/// such an argument `rgdispidNamedArgs` has the place of its parameter, counted from 0, or
/// DISPID_PROPERTYPUT for the new value of a property. The unnamed arguments follow in reverse
/// order, the last one first.
struct DISPPARAMS {
    VARIANT* rgvarg;
    DISPID* rgdispidNamedArgs;
    UINT cArgs;
    UINT cNamedArgs;
};

/// Describes why a member failed. The caller owns the texts.
struct EXCEPINFO {
    WORD wCode;
    WORD wReserved;
    BSTR bstrSource;
    BSTR bstrDescription;
    BSTR bstrHelpFile;
    DWORD dwHelpContext;
    void* pvReserved;
    HRESULT (*pfnDeferredFillIn)(EXCEPINFO* exception);  ///< always null
    HRESULT scode;                                       ///< the result that the member returned
};

// Flags of Invoke: what a member may be called as. It is enough if one of the flags given fits.
inline constexpr WORD DISPATCH_METHOD = 1;
inline constexpr WORD DISPATCH_PROPERTYGET = 2;
inline constexpr WORD DISPATCH_PROPERTYPUT = 4;
inline constexpr WORD DISPATCH_PROPERTYPUTREF = 8;  ///< no member here is put by reference

/// An object whose members can be called by name, on the thread that made it. Names are the same in
/// all languages, so `localeId` may be any well-formed locale id (DISP_E_UNKNOWNLCID otherwise).
struct IDispatch : IUnknown {
    /// The number of type descriptions, which is 1: every object here has one.
    virtual HRESULT GetTypeInfoCount(UINT* count) noexcept = 0;
    /// Gives the description of the object's members; the caller releases it. E_POINTER (`info` is
    /// null), DISP_E_BADINDEX (`index` isn't 0), DISP_E_UNKNOWNLCID, or the reason why the
    /// description can't be read, such as a failure of LoadTypeLib.
    virtual HRESULT GetTypeInfo(UINT index, DWORD localeId, ITypeInfo** info) noexcept = 0;
    /// Gives the dispatch id of the member names[0] and the places of the parameters that the other
    /// names stand for; case doesn't matter. DISP_E_UNKNOWNNAME if a name isn't known: the id of
    /// each unknown name, or of all names if the member isn't known, is then DISPID_UNKNOWN.
    /// E_INVALIDARG if `names` or `dispatchIds` is null or `count` is 0. DISP_E_UNKNOWNLCID and the
    /// failures to read the description are as for GetTypeInfo. `reserved` is all zeros
    /// (DISP_E_UNKNOWNINTERFACE otherwise).
    virtual HRESULT GetIDsOfNames(const GUID& reserved, WCHAR** names, UINT count, DWORD localeId,
                                  DISPID* dispatchIds) noexcept = 0;
    /// Calls a member as one of the kinds in `flags` (DISPATCH_...). Arguments are converted
    /// between numbers and text where the value allows it, and may be references; an out parameter
    /// takes a reference to its type or to a VARIANT. To set a property, the new value is passed as
    /// an argument, which may be named DISPID_PROPERTYPUT. `result` (null: not wanted) receives the
    /// member's result, which the caller clears. After a failure it is VT_EMPTY.
    ///
    /// DISP_E_EXCEPTION if the call of the member failed; exception->scode is then the call's
    /// result (`exception` null: not wanted). After any other failure the member wasn't called.
    /// Among these failures are DISP_E_MEMBERNOTFOUND, DISP_E_BADPARAMCOUNT, E_INVALIDARG,
    /// DISP_E_UNKNOWNLCID, DISP_E_UNKNOWNINTERFACE (`reserved` isn't all zeros), E_OUTOFMEMORY and
    /// the failures to read the description, as for GetTypeInfo. With the following failures
    /// *argumentError receives the index in rgvarg of the argument at fault: DISP_E_TYPEMISMATCH,
    /// DISP_E_OVERFLOW, DISP_E_BADVARTYPE, DISP_E_PARAMNOTFOUND (no parameter of that name, or one
    /// that has its argument already), DISP_E_PARAMNOTOPTIONAL (left out), E_POINTER (a null
    /// reference).
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

/// Makes raw memory an empty value; whatever the memory held isn't freed.
void VariantInit(VARIANT* value) noexcept;
/// Frees the text or releases the object that the value holds, and makes the value empty.
/// DISP_E_BADVARTYPE for a type that a VARIANT can't hold; the value then stays as it is.
/// E_INVALIDARG for null.
HRESULT VariantClear(VARIANT* value) noexcept;
/// Clears `target` and makes it a copy of `source`, with a text or reference of its own; a VT_BYREF
/// value stays a pointer to the same place. On failure `target` is unchanged: E_OUTOFMEMORY,
/// DISP_E_BADVARTYPE, E_INVALIDARG for null.
HRESULT VariantCopy(VARIANT* target, const VARIANT* source) noexcept;
/// Clears `target`, which may be `source`, and stores the value there as another type. It converts
/// between numbers, VT_BOOL and texts, and between VT_UNKNOWN and VT_DISPATCH. VT_BYREF values are
/// followed. A text has a decimal point in every locale; VT_BOOL as a text is -1 or 0, and is also
/// read from True and False. A fraction that becomes a whole number is rounded to the nearest one,
/// and a half to the even one. `flags` is 0. On failure `target` is unchanged: DISP_E_TYPEMISMATCH,
/// DISP_E_OVERFLOW, DISP_E_BADVARTYPE (an unknown type, or one to which nothing is converted),
/// E_POINTER, E_INVALIDARG, E_OUTOFMEMORY.
HRESULT VariantChangeType(VARIANT* target, const VARIANT* source, WORD flags,
                          VARTYPE type) noexcept;

}  // extern "C"
#pragma GCC visibility pop

namespace zlk {

/// Empties the two answers of Invoke; either may be null. Each Invoke calls this before anything
/// can fail, because callers needn't initialise the answers, and clear them even after a failure.
inline void emptyAnswer(VARIANT* result, EXCEPINFO* exception) noexcept {
    if (result) VariantInit(result);
    if (exception) *exception = {};
}

/// Owns a VARIANT and clears it in its destructor.
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
    /// For calls that hand out a value; clears the one held before.
    VARIANT* out() noexcept {
        VariantClear(&value_);
        return &value_;
    }
    /// Gives up ownership: the caller clears the value that is returned.
    VARIANT detach() noexcept {
        const VARIANT value = value_;
        VariantInit(&value_);
        return value;
    }

  private:
    VARIANT value_;
};

}  // namespace zlk
