#include "platform/component_module.h"
#include "siblings/drive_mapper/DriveMapper.h"

namespace {

constexpr zlk::ComponentClass classes[] = {
    {CLSID_DriveMapper, zlk::createObject<zlk::DriveMapper>, 1},
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
