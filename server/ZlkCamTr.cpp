// The component module of the system: its six classes and its entry points.

#include "ZlkCamTr.h"

#include "device_objects/CProgressCallback.h"
#include "device_objects/CSPostDevice.h"
#include "device_objects/CTagDevice.h"
#include "device_objects/CUnloadableCamera.h"
#include "directory/CDeviceList.h"
#include "directory/CDeviceUtils.h"
#include "platform/component_module.h"

namespace {

// The numbers are those of the registration scripts among the module's resources.
constexpr zlk::ComponentClass classes[] = {
    {CLSID_UnloadableCamera, zlk::createObject<zlk::CUnloadableCamera>, 2001},
    {CLSID_SPostDevice, zlk::createObject<zlk::CSPostDevice>, 2002},
    {CLSID_DeviceList, zlk::createObject<zlk::CDeviceList>, 2003},
    {CLSID_DeviceUtils, zlk::createObject<zlk::CDeviceUtils>, 2004},
    {CLSID_ProgressCallback, zlk::createObject<zlk::CProgressCallback>, 2005},
    {CLSID_TaggerDevice, zlk::createObject<zlk::CTagDevice>, 2006},
};

}  // namespace

ZLK_COMPONENT_MODULE(classes, zlk::ModuleTypeLibrary::Registered)
