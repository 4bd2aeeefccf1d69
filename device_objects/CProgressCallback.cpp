#include "device_objects/CProgressCallback.h"

#include "platform/system.h"

namespace zlk {

HRESULT CProgressCallback::UpdateProgress(LONG) noexcept {
    MessageBoxW(nullptr, u"PhotoDevice", u"CProgressCallback::UpdateProgress()", MB_OK);
    return S_OK;
}

}  // namespace zlk
