#include "siblings/drive_mapper/DriveMapper.h"

#include "siblings/common/MountPlace.h"

namespace zlk {

HRESULT DriveMapper::put_ContextId(BSTR contextId) noexcept {
    return guarded([&] {
        contextId_.assign(contextId ? contextId : u"", SysStringLen(contextId));
        return S_OK;
    });
}

HRESULT DriveMapper::get_DrivePrefix(BSTR* prefix) noexcept {
    if (!prefix) return E_POINTER;
    *prefix = nullptr;
    return guarded([&] {
        *prefix = Bstr(mountPlace(contextId_)).detach();
        return *prefix ? S_OK : E_OUTOFMEMORY;
    });
}

}  // namespace zlk
