#pragma once
// Explains why a camera on USB isn't listed by the components or can't be opened.

#include <string>
#include <vector>

#include "tools/zlkcam/DeviceDirectory.h"
#include "tools/zlkcam/Documents.h"
#include "tools/zlkcam/Failure.h"
#include "usbscan/usbscan.h"

namespace zlk {

/// A still-image device on USB, together with what the components make of it.
struct UsbCamera {
    AttachedCamera attached;
    std::u16string pnpId;      ///< `VID_xxxx&PID_xxxx`
    std::u16string contextId;  ///< from its row of the camera table; empty if it has none
    bool listed = false;       ///< it is among the listed devices
    bool twinListed = false;   ///< a camera of the same context id is listed, this or another one
};

/// A reason why a camera isn't listed, or why it can't be opened although it is listed.
struct CameraTrouble {
    std::string kind;  ///< "unknown", "held", "forbidden", "twin" or "silent"
    std::string message, advice;
};

/// The USB ids in the form `12AB:0001`.
std::u16string usbIdOf(const AttachedCamera& camera);

/// All cameras on USB, ordered by port. `devices` are those that the components list.
std::vector<UsbCamera> usbCameras(const DeviceDirectory& directory,
                                  const std::vector<Device>& devices);

/// What is wrong with a camera, beginning with what the user should look at first. Empty if nothing
/// is wrong.
std::vector<CameraTrouble> troublesOf(const UsbCamera& camera);

/// The Failure (NotConnected) for a device that was listed a moment ago and can't be reached. It
/// says whether the device is gone, another program holds it, or it doesn't answer.
Failure notReached(const Device& device);

}  // namespace zlk
