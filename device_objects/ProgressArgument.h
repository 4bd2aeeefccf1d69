#pragma once
// Converts the progress argument of a transfer that is called by name.
//
// The methods of the device objects take the IProgressCallback itself in the place of the VARIANT
// that they declare, because applications have always passed it so. A caller by name can't do that:
// it passes a value with an object in it, which is converted before the method is called.

#include <array>

#include "ZlkCamTr.h"
#include "platform/component.h"

namespace zlk {

class ProgressArgument {
  public:
    static constexpr UINT mostArguments = 3;

    /// Takes the arguments for a method with `count` parameters, at most mostArguments, the last of
    /// which is the progress. The arguments stay the caller's and must outlive this object. The
    /// progress argument may be empty, null or left out. If it is anything else than a suitable
    /// object, the result is DISP_E_TYPEMISMATCH, and `*argumentError` is its place. A wrong number
    /// of arguments isn't reported here.
    HRESULT take(const DISPPARAMS& arguments, UINT count, UINT* argumentError) noexcept;

    /// The converted arguments, valid as long as this object.
    DISPPARAMS* arguments() noexcept { return &arguments_; }

  private:
    std::array<VARIANT, mostArguments> values_;
    DISPPARAMS arguments_{};
    ComPtr<IProgressCallback> callback_;
};

}  // namespace zlk
