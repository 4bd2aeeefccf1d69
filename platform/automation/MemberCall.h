#pragma once
// One call of a member by name: turns the arguments of an automation call into those of a C++ call,
// by the member's description, and makes that call by libffi.

#include <array>

#include "platform/automation.h"
#include "platform/automation/TypeLibrary.h"

namespace zlk::platform {

/// A call in three steps on one thread: bind(), then call(), then handOut(). After a failure the
/// caller leaves out the remaining steps.
class MemberCall {
  public:
    /// Both arguments are borrowed for the life of the object.
    MemberCall(const TypeMember& member, const DISPPARAMS& arguments) noexcept;
    ~MemberCall();
    MemberCall(const MemberCall&) = delete;
    MemberCall& operator=(const MemberCall&) = delete;

    /// Gives each parameter its argument, converted if need be. The failures are those of
    /// IDispatch::Invoke; `argumentError` receives the index in rgvarg of the argument at fault, if
    /// there is one.
    HRESULT bind(UINT& argumentError) noexcept;
    /// Calls the function in a slot of the virtual table of `instance`, after bind(), and returns
    /// its result. E_UNEXPECTED, without a call, if libffi refuses the types.
    HRESULT call(void* instance, std::size_t slot) noexcept;
    /// After a call that succeeded: moves what the function wrote to the caller's references, and
    /// its retval to `result` (null: not wanted), which must be empty.
    void handOut(VARIANT* result) noexcept;

  private:
    /// What one parameter of the function gets.
    struct Place {
        VARIANT* argument;  // the caller's; null for the result
        VARIANT value;      // what is passed, or what the function writes into
        void* pointer;      // what is passed where the parameter is a pointer
        bool owned;         // `value` is ours to clear
    };

    /// Finds the argument of each parameter.
    HRESULT assign(UINT& argumentError) noexcept;
    /// The place of the parameter that a named argument is for. If there is none, the result is
    /// `nowhere`, a place that no parameter has.
    std::size_t placeOfNamed(DISPID name) const noexcept;
    HRESULT fill(const TypeParameter& parameter, Place& place) noexcept;

    const TypeMember& member_;
    const DISPPARAMS& arguments_;
    std::size_t wanted_;  // number of arguments: all parameters but the result
    std::array<Place, typelib::mostParameters> places_;  // one for each parameter
};

}  // namespace zlk::platform
