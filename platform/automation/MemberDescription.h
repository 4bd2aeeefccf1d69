#pragma once
// A member of a type library in the form of a FUNCDESC.

#include <array>

#include "platform/automation/TypeLibrary.h"
#include "platform/type_library.h"

namespace zlk::platform {

/// The description and what it points to. `slot` is the member's place in the virtual table;
/// `byDispatch` gives it the form that it has in a TKIND_DISPATCH.
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
