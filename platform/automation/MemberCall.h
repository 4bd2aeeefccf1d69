#pragma once
// One call of a member by name: from the arguments of an automation call to those of a C++ one.

#include <array>

#include "platform/automation.h"
#include "platform/automation/TypeLibrary.h"

namespace zlk::platform {

class MemberCall {
  public:
    /// Both are borrowed for the life of the call.
    MemberCall(const TypeMember& member, const DISPPARAMS& arguments) noexcept;
    ~MemberCall();
    MemberCall(const MemberCall&) = delete;
    MemberCall& operator=(const MemberCall&) = delete;

    /// Gives each parameter its argument, converted. Failures as of IDispatch::Invoke, with the
    /// place of the argument that is to blame.
    HRESULT bind(UINT& argumentError) noexcept;
    /// Calls the function in that slot of the virtual table, after bind; gives its result.
    HRESULT call(void* instance, std::size_t slot) noexcept;
    /// After a call that succeeded: what it gave goes to the caller's references, and to `result`,
    /// which is empty and may be null.
    void handOut(VARIANT* result) noexcept;

  private:
    /// What one parameter of the function gets.
    struct Place {
        VARIANT* argument;  // the caller's; null for the result
        VARIANT value;      // what is passed, or what the function writes to
        void* pointer;      // what is passed where the parameter is a pointer
        bool owned;         // the value is ours to clear
    };

    HRESULT assign(UINT& argumentError) noexcept;
    std::size_t placeOfNamed(DISPID name) const noexcept;
    HRESULT fill(const TypeParameter& parameter, Place& place) noexcept;

    const TypeMember& member_;
    const DISPPARAMS& arguments_;
    std::size_t wanted_;  // arguments: all parameters but the result
    std::array<Place, typelib::mostParameters> places_;
};

}  // namespace zlk::platform
