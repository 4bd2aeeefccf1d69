#include "platform/component_module.h"
#include "siblings/card_reader/CardReader.h"

namespace {

constexpr zlk::ComponentClass classes[] = {
    {CLSID_CardReader, zlk::createObject<zlk::CardReader>, 1},
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
