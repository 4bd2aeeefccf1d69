#pragma once
// Plugs a simulated device into an emulated usbfs and an emulated sysfs, so that processes can
// drive it through libusb. Such a process needs the umockdev preload library, and UMOCKDEV_DIR in
// its environment. In this process the constructor sets the variable.

#include <memory>
#include <string>
#include <vector>

#include "tools/emulated_usb/UsbfsNode.h"
#include "tools/zlkcamsim/UsbFunction.h"
#include "usbscan/host/EventLoop.h"

namespace zlk::emulated {

class EmulatedUsb {
  public:
    /// Plugs the device in, as device 2 of bus 1. From then on `function` is called on the loop's
    /// thread. Sets UMOCKDEV_DIR.
    EmulatedUsb(usbscan::EventLoop& loop, camsim::UsbFunction& function,
                const UsbfsFeatures& features = {});
    ~EmulatedUsb();
    EmulatedUsb(const EmulatedUsb&) = delete;
    EmulatedUsb& operator=(const EmulatedUsb&) = delete;

    /// unplug() and plug() are to be called on the loop's thread, and do nothing if the device is
    /// out or in already. plug() gives the device the next number.
    void unplug();
    void plug();
    bool isPlugged() const { return !device_.empty(); }

    /// The folder of the emulation, which is the value of UMOCKDEV_DIR.
    std::string root() const;
    /// The path of the device's node, such as /dev/bus/usb/001/002; while it is unplugged, that of
    /// the last node.
    std::string node() const;
    int deviceNumber() const { return deviceNumber_; }

  private:
    std::string add(const char* name, const std::string& parent,
                    const std::vector<std::string>& attributes,
                    const std::vector<std::string>& properties);
    void addDevice();
    std::vector<std::string> deviceAttributes() const;
    std::string productText() const;
    void countEvent() const;

    usbscan::EventLoop& loop_;
    camsim::UsbFunction& function_;
    const UsbfsFeatures features_;
    std::shared_ptr<UMockdevTestbed> testbed_;
    std::string hub_, device_, interface_;  ///< sysfs paths; while unplugged, only the hub has one
    int deviceNumber_ = 1;
    /// One for each time that the device was plugged in, because clients of earlier nodes may not
    /// be done yet.
    std::vector<std::unique_ptr<UsbfsNode>> nodes_;
};

}  // namespace zlk::emulated
