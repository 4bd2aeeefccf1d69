#pragma once
// A still-image device on USB, what the components make of it, and why that may be nothing.

#include <string>
#include <vector>

#include "tools/zlkcam/DeviceDirectory.h"
#include "tools/zlkcam/Documents.h"
#include "tools/zlkcam/Failure.h"
#include "usbscan/usbscan.h"

namespace zlk {

struct UsbCamera {
    AttachedCamera attached;
    std::u16string pnpId;      ///< `VID_xxxx&PID_xxxx`
    std::u16string contextId;  ///< of its row of the camera table; empty if it has none
    bool listed = false;       ///< among the devices
    bool twinListed = false;   ///< one of the same context id is, in its place
};

/// Why a camera isn't listed, or will not open though it is.
struct CameraTrouble {
    std::string kind;  ///< "unknown", "held", "forbidden", "twin" or "silent"
    std::string message, advice;
};

/// The USB ids as lsusb tells them: `12AB:0001`.
std::u16string usbIdOf(const AttachedCamera& camera);

/// By port.
std::vector<UsbCamera> usbCameras(const DeviceDirectory& directory,
                                  const std::vector<Device>& devices);

/// The most telling first.
std::vector<CameraTrouble> troublesOf(const UsbCamera& camera);

/// Why a device isn't reached that was listed a moment ago: a camera that is attached all the same
/// is in another program's hands, or doesn't answer.
Failure notReached(const Device& device);

}  // namespace zlk
