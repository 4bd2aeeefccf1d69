#include <unistd.h>

#include <cerrno>

#include "platform/base/FileName.h"
#include "platform/text.h"
#include "usbscan/client/AttachedDevices.h"
#include "usbscan/client/DeviceHolder.h"
#include "usbscan/usbscan.h"

using namespace zlk::platform;

namespace {

/// Whether this user may open the node. A missing node is no lack of permission: its device has
/// just been unplugged.
bool mayUse(const std::string& node) {
    return node.empty() || ::access(node.c_str(), R_OK | W_OK) == 0 || errno != EACCES;
}

}  // namespace

std::vector<AttachedCamera> attachedCameras() {
    std::vector<AttachedCamera> cameras;
    for (const AttachedDevice& device : attachedDevices()) {
        const DeviceHolder holder = findHolderOf(device);
        // A device's own texts are treated like a card's file names: kept whole, but made harmless
        // in XML.
        cameras.push_back(
            {scannerPortText(device), wideText(portableDevicePath(device)), device.vid, device.pid,
             nameText(device.manufacturer), nameText(device.product), nameText(device.serial),
             static_cast<DWORD>(holder.pid), nameText(holder.program), mayUse(device.node)});
    }
    return cameras;
}
