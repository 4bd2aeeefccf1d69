#pragma once
// The object that hears of a transfer's progress, where a transfer is asked for by name.
//
// The methods of the device objects take the IProgressCallback itself in the place of the VARIANT
// that they declare; applications have always passed it so. A caller by name can't: it passes a
// value with an object in it, which has to be turned into that before the method is called.

#include <array>

#include "ZlkCamTr.h"
#include "platform/component.h"

namespace zlk {

class ProgressArgument {
  public:
    static constexpr UINT mostArguments = 3;

    /// Takes the arguments of a call of a member with `count` parameters (at most mostArguments),
    /// of which the last one is the progress. They stay the caller's. DISP_E_TYPEMISMATCH for a
    /// value without such an object, with its place among them.
    HRESULT take(const DISPPARAMS& arguments, UINT count, UINT* argumentError);

    /// The same arguments, with the callback in the form that the methods take.
    DISPPARAMS* arguments() noexcept { return &arguments_; }

  private:
    std::array<VARIANT, mostArguments> values_;
    DISPPARAMS arguments_{};
    ComPtr<IProgressCallback> callback_;
};

}  // namespace zlk
