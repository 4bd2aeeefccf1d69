#include "platform/automation/Conversion.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <span>
#include <string>
#include <string_view>

#include "platform/text.h"

namespace zlk::platform {
namespace {

/// Numbers are converted to each other by way of this type, which can hold each 64-bit integer and
/// each double exactly.
using Number = long double;
static_assert(std::numeric_limits<Number>::digits >= 64);

bool isObject(VARTYPE type) {
    return type == VT_UNKNOWN || type == VT_DISPATCH;
}

std::u16string_view textOf(BSTR text) {
    return {text ? text : u"", SysStringLen(text)};
}

std::u16string_view trimmed(std::u16string_view text) {
    while (!text.empty() && iswspace(text.front())) text.remove_prefix(1);
    while (!text.empty() && iswspace(text.back())) text.remove_suffix(1);
    return text;
}

HRESULT parseNumber(std::u16string_view text, Number& number) {
    char digits[128];
    text = trimmed(text);
    if (text.starts_with(u'+') && !text.starts_with(u"+-")) text.remove_prefix(1);
    if (text.empty() || text.size() > sizeof digits) return DISP_E_TYPEMISMATCH;
    for (std::size_t i = 0; i < text.size(); ++i) {
        // from_chars would also accept the words for infinity and "not a number", so no letter but
        // the exponent's is let through.
        const WCHAR unit = text[i];
        const bool fits = (unit >= u'0' && unit <= u'9') || unit == u'.' || unit == u'-' ||
                          unit == u'+' || unit == u'e' || unit == u'E';
        if (!fits) return DISP_E_TYPEMISMATCH;
        digits[i] = static_cast<char>(unit);
    }
    const char* const end = digits + text.size();
    const auto [parsed, error] = std::from_chars(digits, end, number);
    if (error == std::errc::result_out_of_range) return DISP_E_OVERFLOW;
    return error == std::errc() && parsed == end ? S_OK : DISP_E_TYPEMISMATCH;
}

// The number in a value that isn't VT_BYREF. DISP_E_TYPEMISMATCH if the value has none,
// DISP_E_OVERFLOW if a text's number is out of range.
HRESULT readNumber(const VARIANT& value, Number& number) {
    switch (value.vt) {
        case VT_EMPTY:
            number = 0;
            return S_OK;
        case VT_I1:
            number = value.cVal;
            return S_OK;
        case VT_UI1:
            number = value.bVal;
            return S_OK;
        case VT_I2:
        case VT_BOOL:
            number = value.iVal;
            return S_OK;
        case VT_UI2:
            number = value.uiVal;
            return S_OK;
        case VT_I4:
        case VT_INT:
            number = value.lVal;
            return S_OK;
        case VT_UI4:
        case VT_UINT:
            number = value.ulVal;
            return S_OK;
        case VT_I8:
            number = static_cast<Number>(value.llVal);
            return S_OK;
        case VT_UI8:
            number = static_cast<Number>(value.ullVal);
            return S_OK;
        case VT_R4:
            number = value.fltVal;
            return S_OK;
        case VT_R8:
            number = value.dblVal;
            return S_OK;
        case VT_BSTR:
            return parseNumber(textOf(value.bstrVal), number);
        default:
            return DISP_E_TYPEMISMATCH;
    }
}

template <class Integer>
HRESULT storeInteger(Number number, Integer& field) {
    // In the default rounding mode, halves go to the even number.
    const Number whole = std::nearbyint(number);
    using Limits = std::numeric_limits<Integer>;
    // Both comparisons are false for "not a number", so it counts as an overflow.
    const bool fits =
        whole >= static_cast<Number>(Limits::min()) && whole <= static_cast<Number>(Limits::max());
    if (!fits) return DISP_E_OVERFLOW;
    field = static_cast<Integer>(whole);
    return S_OK;
}

template <class Real>
HRESULT storeReal(Number number, Real& field) {
    if (std::fabs(number) > static_cast<Number>(std::numeric_limits<Real>::max()))
        return DISP_E_OVERFLOW;
    field = static_cast<Real>(number);
    return S_OK;
}

HRESULT storeNumber(Number number, VARIANT& target) {
    switch (target.vt) {
        case VT_I1:
            return storeInteger(number, target.cVal);
        case VT_UI1:
            return storeInteger(number, target.bVal);
        case VT_I2:
            return storeInteger(number, target.iVal);
        case VT_UI2:
            return storeInteger(number, target.uiVal);
        case VT_I4:
        case VT_INT:
            return storeInteger(number, target.lVal);
        case VT_UI4:
        case VT_UINT:
            return storeInteger(number, target.ulVal);
        case VT_I8:
            return storeInteger(number, target.llVal);
        case VT_UI8:
            return storeInteger(number, target.ullVal);
        case VT_R4:
            return storeReal(number, target.fltVal);
        case VT_R8:
            return storeReal(number, target.dblVal);
        case VT_BOOL:
            target.boolVal = number != 0 ? VARIANT_TRUE : VARIANT_FALSE;
            return S_OK;
        default:
            return DISP_E_BADVARTYPE;
    }
}

/// Writes a number as text: up to 15 significant digits of a double and 7 of a float, because more
/// could show rounding errors.
std::string_view printNumber(const VARIANT& value, std::span<char> room) {
    char* const end = room.data() + room.size();
    const auto print = [&](auto number, auto... how) {
        return std::string_view(room.data(), std::to_chars(room.data(), end, number, how...).ptr);
    };
    switch (value.vt) {
        case VT_R4:
            return print(value.fltVal, std::chars_format::general, 7);
        case VT_R8:
            return print(value.dblVal, std::chars_format::general, 15);
        case VT_UI8:
            return print(value.ullVal);
        default:
            break;
    }
    // The numbers of all other types fit into 64 bits with a sign.
    VARIANT whole{};
    whole.vt = VT_I8;
    Number number = 0;
    readNumber(value, number);
    storeNumber(number, whole);
    return print(whole.llVal);
}

HRESULT storeText(const VARIANT& value, VARIANT& target) {
    char room[64];
    std::u16string_view wide;
    WCHAR units[sizeof room];
    if (value.vt != VT_EMPTY) {
        if (sizeOfType(value.vt) == 0 || isObject(value.vt) || value.vt == VT_ERROR)
            return DISP_E_TYPEMISMATCH;
        const std::string_view digits = printNumber(value, room);
        std::copy(digits.begin(), digits.end(), units);
        wide = {units, digits.size()};
    }
    target.bstrVal = Bstr(wide).detach();
    return target.bstrVal ? S_OK : E_OUTOFMEMORY;
}

HRESULT storeObject(const VARIANT& value, VARIANT& target) {
    if (!isObject(value.vt)) return DISP_E_TYPEMISMATCH;
    target.punkVal = nullptr;
    if (!value.punkVal) return S_OK;
    const GUID& iid = target.vt == VT_DISPATCH ? iidOf<IDispatch> : iidOf<IUnknown>;
    const HRESULT asked =
        value.punkVal->QueryInterface(iid, reinterpret_cast<void**>(&target.punkVal));
    return SUCCEEDED(asked) ? S_OK : DISP_E_TYPEMISMATCH;
}

/// Whether a value is the text True or False, case ignored. If it is, `truth` is set.
bool isTruthWord(const VARIANT& value, VARIANT_BOOL& truth) {
    if (value.vt != VT_BSTR) return false;
    const std::u16string_view text = trimmed(textOf(value.bstrVal));
    if (equalIgnoringCase(text, u"True"))
        truth = VARIANT_TRUE;
    else if (equalIgnoringCase(text, u"False"))
        truth = VARIANT_FALSE;
    else
        return false;
    return true;
}

/// Converts `value`, which isn't VT_BYREF, to the type that `target` has already.
HRESULT store(const VARIANT& value, VARIANT& target) {
    if (isObject(target.vt)) return storeObject(value, target);
    if (target.vt == VT_BSTR) return storeText(value, target);
    if (target.vt == VT_BOOL && isTruthWord(value, target.boolVal)) return S_OK;
    if (sizeOfType(target.vt) == 0 || target.vt == VT_ERROR) return DISP_E_BADVARTYPE;
    Number number = 0;
    const HRESULT read = readNumber(value, number);
    return SUCCEEDED(read) ? storeNumber(number, target) : read;
}

}  // namespace

std::size_t sizeOfType(VARTYPE type) noexcept {
    switch (type) {
        case VT_I1:
        case VT_UI1:
            return 1;
        case VT_I2:
        case VT_UI2:
        case VT_BOOL:
            return 2;
        case VT_I4:
        case VT_UI4:
        case VT_INT:
        case VT_UINT:
        case VT_R4:
        case VT_ERROR:
            return 4;
        case VT_I8:
        case VT_UI8:
        case VT_R8:
            return 8;
        case VT_BSTR:
        case VT_UNKNOWN:
        case VT_DISPATCH:
            return sizeof(void*);
        case VT_VARIANT:
            return sizeof(VARIANT);
        default:
            return 0;
    }
}

HRESULT dereference(const VARIANT& source, VARIANT& value) noexcept {
    value = source;
    if (!(source.vt & VT_BYREF)) return S_OK;
    const auto type = static_cast<VARTYPE>(source.vt & ~VT_BYREF);
    const std::size_t size = sizeOfType(type);
    if (size == 0) return DISP_E_BADVARTYPE;
    if (!source.byref) return E_POINTER;
    if (type != VT_VARIANT) {
        value.vt = type;
        std::memcpy(&value.room, source.byref, size);
        return S_OK;
    }
    // The VARIANT that is pointed to may be VT_BYREF in turn, but not to another VARIANT, because a
    // chain of VARIANTs could run in a circle.
    const VARIANT& inner = *source.pvarVal;
    return inner.vt == (VT_BYREF | VT_VARIANT) ? DISP_E_BADVARTYPE : dereference(inner, value);
}

HRESULT convert(const VARIANT& source, VARTYPE type, VARIANT& target) noexcept {
    VariantInit(&target);
    VARIANT value;
    if (const HRESULT found = dereference(source, value); FAILED(found)) return found;
    if (value.vt == type) return VariantCopy(&target, &value);
    target.vt = type;
    const HRESULT stored = store(value, target);
    if (FAILED(stored)) VariantInit(&target);
    return stored;
}

}  // namespace zlk::platform
