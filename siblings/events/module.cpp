#include "platform/component_module.h"
#include "siblings/events/StatusEvent.h"

namespace {

constexpr zlk::ComponentClass classes[] = {
    {CLSID_StatusEvent, zlk::createObject<zlk::StatusEvent>, 1},
};
constinit zlk::ComponentModule component(classes);

}  // namespace

HRESULT DllCanUnloadNow() noexcept {
    return component.canUnloadNow();
}
HRESULT DllGetClassObject(const GUID& clsid, const GUID& iid, void** object) noexcept {
    return component.getClassObject(clsid, iid, object);
}
HRESULT DllRegisterServer() noexcept {
    return component.registerServer();
}
HRESULT DllUnregisterServer() noexcept {
    return component.unregisterServer();
}
