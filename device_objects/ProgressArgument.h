#pragma once
// Converts the progress argument of a listing or transfer that is called by name.
//
// GetFileInfo and SaveFileData take the IProgressCallback itself in the place of the VARIANT that
// they declare, because applications have always passed it so. A caller by name can only pass a
// VARIANT, so the object in it is converted before the method is called.

#include <array>

#include "ZlkCamTr.h"
#include "platform/component.h"

namespace zlk {

class ProgressArgument {
  public:
    static constexpr UINT mostArguments = 3;

    /// Takes the arguments for a method with `count` parameters, at most mostArguments. The last
    /// parameter is the progress. The arguments stay the caller's and must outlive this object. The
    /// progress argument may be empty, null or left out. If it can't be made into a callback, the
    /// result is an error, DISP_E_TYPEMISMATCH among others, and `*argumentError` is the argument's
    /// index. A wrong number of arguments isn't reported here.
    HRESULT take(const DISPPARAMS& arguments, UINT count, UINT* argumentError) noexcept;

    /// The converted arguments, valid as long as this object.
    DISPPARAMS* arguments() noexcept { return &arguments_; }

  private:
    std::array<VARIANT, mostArguments> values_;
    DISPPARAMS arguments_{};
    ComPtr<IProgressCallback> callback_;
};

}  // namespace zlk
