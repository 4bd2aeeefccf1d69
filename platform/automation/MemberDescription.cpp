#include "platform/automation/MemberDescription.h"

namespace zlk::platform {

MemberDescription::MemberDescription(const TypeMember& member, std::size_t slot,
                                     bool byDispatch) noexcept
    : FUNCDESC{} {
    memid = member.id;
    lprgelemdescParam = parameters_.data();
    funckind = byDispatch ? FUNC_DISPATCH : FUNC_PUREVIRTUAL;
    invkind = static_cast<INVOKEKIND>(member.kind);
    callconv = CC_CDECL;
    oVft = static_cast<SHORT>(slot * sizeof(void*));
    elemdescFunc.tdesc.vt = byDispatch ? VT_VOID : VT_HRESULT;
    for (const TypeParameter& parameter : member.parameters) {
        const auto type = static_cast<VARTYPE>(parameter.type);
        if (byDispatch && (parameter.flags & typelib::retval)) {
            elemdescFunc.tdesc.vt = type;
            break;  // a retval parameter is always the last one
        }
        const auto place = static_cast<std::size_t>(cParams++);
        pointees_[place].vt = type;
        parameters_[place].paramdesc.wParamFlags = parameter.flags;
        parameters_[place].tdesc.vt = parameter.isPointer ? VT_PTR : type;
        if (parameter.isPointer) parameters_[place].tdesc.lptdesc = &pointees_[place];
    }
}

}  // namespace zlk::platform
