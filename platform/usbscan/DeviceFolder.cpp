#include "platform/internal/MachineRoot.h"
#include "platform/usbscan.h"

std::string deviceFolder() {
    return zlk::platform::MachineRoot::instance().folder("devices");
}
