#pragma once
// Builds the FUNCDESC of a type library's member.

#include <array>

#include "platform/automation/TypeLibrary.h"
#include "platform/type_library.h"

namespace zlk::platform {

/// A FUNCDESC together with the arrays that it points to. `slot` is the member's place in the
/// virtual table; with `byDispatch` the member is described as in a TKIND_DISPATCH, where a retval
/// parameter counts as the result.
class MemberDescription : public FUNCDESC {
  public:
    MemberDescription(const TypeMember& member, std::size_t slot, bool byDispatch) noexcept;
    MemberDescription(const MemberDescription&) = delete;
    MemberDescription& operator=(const MemberDescription&) = delete;

  private:
    std::array<ELEMDESC, typelib::mostParameters> parameters_{};
    std::array<TYPEDESC, typelib::mostParameters> pointees_{};
};

}  // namespace zlk::platform
