#include "platform/automation.h"

#include "platform/automation/Conversion.h"

using namespace zlk::platform;

namespace {

/// Whether a VARIANT can hold a value of this type. It can hold another VARIANT only by reference.
bool isHeld(VARTYPE type) {
    const bool hasNoValue = type == VT_EMPTY || type == VT_NULL;
    const auto referred = static_cast<VARTYPE>(type & ~VT_BYREF);
    return hasNoValue || (type != VT_VARIANT && sizeOfType(referred) != 0);
}

}  // namespace

void VariantInit(VARIANT* value) noexcept {
    *value = {};
}

HRESULT VariantClear(VARIANT* value) noexcept {
    if (!value) return E_INVALIDARG;
    if (!isHeld(value->vt)) return DISP_E_BADVARTYPE;
    if (value->vt == VT_BSTR) SysFreeString(value->bstrVal);
    const bool isObject = value->vt == VT_UNKNOWN || value->vt == VT_DISPATCH;
    if (isObject && value->punkVal) value->punkVal->Release();
    VariantInit(value);
    return S_OK;
}

HRESULT VariantCopy(VARIANT* target, const VARIANT* source) noexcept {
    if (!target || !source) return E_INVALIDARG;
    if (!isHeld(source->vt)) return DISP_E_BADVARTYPE;
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
    // The value is converted into a place of its own first, because `target` stays unchanged on
    // failure and may be `source`.
    VARIANT changed;
    if (const HRESULT result = convert(*source, type, changed); FAILED(result)) return result;
    VariantClear(target);
    *target = changed;
    return S_OK;
}
