#include "tools/zlkcam/UsbCamera.h"

#include <algorithm>
#include <optional>

#include "platform/text.h"

namespace zlk {
namespace {

CameraTrouble heldBy(const AttachedCamera& camera) {
    const std::string program = utf8Text(camera.holderProgram);
    const std::string process = std::to_string(camera.holderProcess);
    const std::string message = program + " (process " + process + ") has it.";
    if (!program.starts_with("gvfs"))
        return {"held", message, "Close that program, or end it: kill " + process};
    // gvfs opens each camera as soon as it is attached, and is started again if its process is
    // ended.
    const std::string scheme = program == "gvfsd-mtp" ? "mtp" : "gphoto2";
    return {"held", message,
            "Eject the camera in the file manager (gio mount -s " + scheme +
                "). To keep file managers off such cameras: zlkcam adopt " +
                utf8Text(usbIdOf(camera)) + " --udev"};
}

/// The attached camera through which a device is reached.
std::optional<AttachedCamera> cameraOf(const Device& device) {
    const std::u16string port = DeviceDirectory().cameraPort(device.contextId);
    for (const AttachedCamera& camera : attachedCameras())
        // The two families of drivers have different paths for the same camera.
        if (equalIgnoringCase(port, camera.port) || equalIgnoringCase(port, camera.devicePath))
            return camera;
    return std::nullopt;
}

}  // namespace

Failure notReached(const Device& device) {
    const std::string name = utf8Text(device.name.empty() ? device.contextId : device.name);
    const std::optional<AttachedCamera> camera = cameraOf(device);
    if (!camera)
        return {ExitStatus::NotConnected, name + " isn't connected any more.",
                "Attach it again, and repeat the command."};
    if (camera->holderProcess != 0) {
        const CameraTrouble held = heldBy(*camera);
        return {ExitStatus::NotConnected, name + " can't be reached: " + held.message, held.advice};
    }
    return {ExitStatus::NotConnected, name + " is attached, and doesn't answer.",
            "Switch it off and on again, or plug it in anew, and repeat the command."};
}

std::u16string usbIdOf(const AttachedCamera& camera) {
    return formatText(u"%04X:%04X", camera.vid, camera.pid);
}

std::vector<UsbCamera> usbCameras(const DeviceDirectory& directory,
                                  const std::vector<Device>& devices) {
    // A camera in a dock is listed under its own context id, but is reached through the dock's
    // port. So ports are compared, and not ids.
    std::vector<std::u16string> ports;
    ports.reserve(devices.size());
    for (const Device& device : devices) ports.push_back(directory.cameraPort(device.contextId));
    std::vector<UsbCamera> cameras;
    for (const AttachedCamera& attached : attachedCameras()) {
        UsbCamera camera{attached, formatText(u"VID_%04X&PID_%04X", attached.vid, attached.pid),
                         u"", false, false};
        camera.contextId = directory.contextIdOf(camera.pnpId);
        camera.listed = std::any_of(ports.begin(), ports.end(), [&](const std::u16string& port) {
            return equalIgnoringCase(port, attached.port) ||
                   equalIgnoringCase(port, attached.devicePath);
        });
        camera.twinListed = std::any_of(devices.begin(), devices.end(), [&](const Device& device) {
            return equalIgnoringCase(device.contextId, camera.contextId);
        });
        cameras.push_back(std::move(camera));
    }
    return cameras;
}

std::vector<CameraTrouble> troublesOf(const UsbCamera& camera) {
    std::vector<CameraTrouble> troubles;
    if (!camera.listed && camera.contextId.empty())
        troubles.push_back({"unknown", "The camera table doesn't know this model.",
                            "Give it a row of the table: zlkcam adopt"});
    if (camera.attached.holderProcess != 0) troubles.push_back(heldBy(camera.attached));
    if (!camera.attached.accessible)
        troubles.push_back(
            {"forbidden", "You may not open its device node.",
             "The udev rule 70-zlkcamtr.rules gives the user at the screen that right: install it "
             "(./dev install) or copy it into /etc/udev/rules.d, run udevadm control --reload, and "
             "plug the camera in again."});
    // The reasons that follow are only given if none was found so far.
    if (!camera.listed && troubles.empty() && camera.twinListed)
        troubles.push_back({"twin", "Another camera of this model is listed in its place.",
                            "Unplug that one to reach this one."});
    if (!camera.listed && troubles.empty())
        troubles.push_back({"silent", "It is known as " + utf8Text(camera.contextId) + ".",
                            "A dock is listed by the camera that stands in it, as long as no other "
                            "of that model is attached. Else zlkcam trace tells what the "
                            "components find."});
    return troubles;
}

}  // namespace zlk
