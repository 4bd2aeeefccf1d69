// The three functions by which the platform's library reaches a driver, defined for still-image
// devices. The platform declares them without knowing the driver.

#include "platform/files/DeviceOpening.h"
#include "platform/objects/DeviceSection.h"
#include "platform/settings/DeviceKeys.h"
#include "platform/text.h"
#include "usbscan/client/CameraOpening.h"
#include "usbscan/client/DeviceClassKeys.h"
#include "usbscan/client/DevicePathTable.h"

namespace zlk::platform {

std::shared_ptr<Handle> openDevice(std::u16string_view name) {
    return openCamera(name);
}

std::unique_ptr<RegistryBackdrop> makeDeviceKeys() {
    return std::make_unique<DeviceClassKeys>();
}

void refreshDeviceSection(std::u16string_view name) {
    if (equalIgnoringCase(name, devicePathTableName)) refreshDevicePathTable();
}

}  // namespace zlk::platform
