#include "device_objects/ProgressArgument.h"

#include <algorithm>

#include "platform/component_object.h"

namespace zlk {
namespace {

/// Makes a script's object a callback, by calling its method `UpdateProgress` by name.
class NamedCallback : public IProgressCallback {
  public:
    using Interfaces = InterfaceList<IProgressCallback>;

    /// Takes a reference to the object. Fails if the object has no method `UpdateProgress`.
    HRESULT bind(IDispatch* object) {
        WCHAR name[] = u"UpdateProgress";
        WCHAR* names[] = {name};
        object->AddRef();
        *object_.out() = object;
        return object->GetIDsOfNames(GUID{}, names, 1, 0, &id_);
    }

    HRESULT UpdateProgress(LONG percent) noexcept override {
        Variant argument(percent), result;
        DISPPARAMS arguments{argument.get(), nullptr, 1, 0};
        const HRESULT called = object_->Invoke(id_, GUID{}, 0, DISPATCH_METHOD, &arguments,
                                               result.get(), nullptr, nullptr);
        // A script asks for a stop by failing, or by what it returns.
        if (called != S_OK) return FAILED(called) ? called : S_FALSE;
        if (result->vt == VT_BOOL) return result->boolVal ? S_OK : S_FALSE;
        // A result that can be converted to a number is taken for an HRESULT. Any other result lets
        // the transfer go on.
        Variant number;
        const HRESULT isNumber = VariantChangeType(number.get(), result.get(), 0, VT_I4);
        return SUCCEEDED(isNumber) ? number->lVal : S_OK;
    }

  protected:
    ~NamedCallback() = default;

  private:
    ComPtr<IDispatch> object_;
    DISPID id_ = DISPID_UNKNOWN;
};

/// Whether an argument means that no callback is wanted.
bool isNone(const VARIANT& value) {
    const bool leftOut = value.vt == VT_ERROR && value.scode == DISP_E_PARAMNOTFOUND;
    return value.vt == VT_EMPTY || value.vt == VT_NULL || leftOut;
}

/// The index of the last parameter's argument; `cArgs` if that parameter has no argument. In
/// DISPPARAMS the named arguments come first, and then the others from the last to the first.
UINT findLast(const DISPPARAMS& arguments) {
    const auto last = static_cast<DISPID>(arguments.cArgs) - 1;
    for (UINT i = 0; i < arguments.cNamedArgs; ++i)
        if (arguments.rgdispidNamedArgs[i] == last) return i;
    return arguments.cNamedArgs == 0 ? 0 : arguments.cArgs;
}

/// Makes a callback from the argument. If none is wanted, `callback` stays empty.
HRESULT callbackOf(const VARIANT& argument, ComPtr<IProgressCallback>& callback) {
    Variant held;
    VARIANT* const inner = argument.vt == (VT_BYREF | VT_VARIANT) ? argument.pvarVal : nullptr;
    const VARIANT& value = inner ? *inner : argument;
    if (isNone(value)) return S_OK;
    const HRESULT converted = VariantChangeType(held.get(), &value, 0, VT_UNKNOWN);
    if (FAILED(converted)) return converted;
    if (!held->punkVal) return S_OK;
    // The object of a program in C++ may be a callback already. Any other object is called by name.
    if (SUCCEEDED(held->punkVal->QueryInterface(iidOf<IProgressCallback>,
                                                reinterpret_cast<void**>(callback.out()))))
        return S_OK;
    Variant object;
    if (FAILED(VariantChangeType(object.get(), held.get(), 0, VT_DISPATCH)))
        return DISP_E_TYPEMISMATCH;
    auto* const named = new PlainObject<NamedCallback>;
    *callback.out() = named;
    return SUCCEEDED(named->bind(object->pdispVal)) ? S_OK : DISP_E_TYPEMISMATCH;
}

}  // namespace

HRESULT ProgressArgument::take(const DISPPARAMS& arguments, UINT count,
                               UINT* argumentError) noexcept {
    arguments_ = arguments;
    // A wrong number of arguments or a missing array is left to DispatchImpl, which reports it.
    if (arguments.cArgs != count || !arguments.rgvarg || arguments.cNamedArgs > count ||
        (arguments.cNamedArgs > 0 && !arguments.rgdispidNamedArgs))
        return S_OK;
    const UINT found = findLast(arguments);
    if (found == count) return S_OK;
    const HRESULT result = guarded([&] { return callbackOf(arguments.rgvarg[found], callback_); });
    if (FAILED(result)) {
        if (argumentError) *argumentError = found;
        return result;
    }
    std::copy_n(arguments.rgvarg, count, values_.begin());
    // A reference to a VARIANT is passed on without a conversion, so the method gets this pointer.
    values_[found].vt = VT_BYREF | VT_VARIANT;
    values_[found].byref = callback_.get();
    arguments_.rgvarg = values_.data();
    return S_OK;
}

}  // namespace zlk
