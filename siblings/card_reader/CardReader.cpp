#include "siblings/card_reader/CardReader.h"

#include "siblings/common/MountPlace.h"

namespace zlk {

HRESULT CardReader::put_ContextID(BSTR contextId) noexcept {
    return guarded([&] {
        contextId_.assign(contextId ? contextId : u"", SysStringLen(contextId));
        return S_OK;
    });
}

HRESULT CardReader::get_oidInteger(LONG oid, LONG* value) noexcept {
    if (!value) return E_POINTER;
    *value = 0;
    if (oid != cardStateOid) return E_INVALIDARG;
    return guarded([&] {
        const std::u16string place = mountPlace(contextId_);
        if (place.empty()) return HRESULT_FROM_WIN32(ERROR_INVALID_DRIVE);
        *value = hasMedium(place) ? cardInserted : cardMissing;
        return S_OK;
    });
}

}  // namespace zlk
