#include "platform/automation.h"

#include "platform/automation/Conversion.h"

using namespace zlk::platform;

void VariantInit(VARIANT* value) noexcept {
    *value = {};
}

HRESULT VariantClear(VARIANT* value) noexcept {
    if (!value) return E_INVALIDARG;
    switch (value->vt) {
        case VT_EMPTY:
        case VT_NULL:
            break;
        case VT_BSTR:
            SysFreeString(value->bstrVal);
            break;
        case VT_UNKNOWN:
        case VT_DISPATCH:
            if (value->punkVal) value->punkVal->Release();
            break;
        case VT_VARIANT:
            return DISP_E_BADVARTYPE;
        default:
            if (sizeOfType(static_cast<VARTYPE>(value->vt & ~VT_BYREF)) == 0)
                return DISP_E_BADVARTYPE;
    }
    VariantInit(value);
    return S_OK;
}

HRESULT VariantCopy(VARIANT* target, const VARIANT* source) noexcept {
    if (!target || !source) return E_INVALIDARG;
    // The copy is made before the target is cleared, because both may be the same value.
    VARIANT copy = *source;
    if (source->vt == VT_BSTR && source->bstrVal) {
        copy.bstrVal = SysAllocStringLen(source->bstrVal, SysStringLen(source->bstrVal));
        if (!copy.bstrVal) return E_OUTOFMEMORY;
    } else if ((source->vt == VT_UNKNOWN || source->vt == VT_DISPATCH) && source->punkVal) {
        source->punkVal->AddRef();
    }
    if (const HRESULT cleared = VariantClear(target); FAILED(cleared)) {
        VariantClear(&copy);
        return cleared;
    }
    *target = copy;
    return S_OK;
}

HRESULT VariantChangeType(VARIANT* target, const VARIANT* source, WORD flags,
                          VARTYPE type) noexcept {
    if (!target || !source || flags != 0) return E_INVALIDARG;
    // Converted into a place of its own, so that `target` stays unchanged on failure and may be
    // `source`.
    VARIANT changed;
    if (const HRESULT result = convert(*source, type, changed); FAILED(result)) return result;
    VariantClear(target);
    *target = changed;
    return S_OK;
}
