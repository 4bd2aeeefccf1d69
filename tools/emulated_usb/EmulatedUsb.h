#pragma once
// Plugs a device's end of the bus into an emulated usbfs, so that it is driven through libusb: by
// this process, and by others that have UMOCKDEV_DIR in their environment and the umockdev preload
// library. It stands in sysfs as well, with its interface.

#include <memory>
#include <string>
#include <vector>

#include "tools/emulated_usb/UsbfsNode.h"
#include "tools/zlkcamsim/UsbFunction.h"
#include "usbscan/host/EventLoop.h"

namespace zlk::emulated {

class EmulatedUsb {
  public:
    /// Plugged in, as device 2 of bus 1. The function is called from `loop`. Sets UMOCKDEV_DIR.
    EmulatedUsb(usbscan::EventLoop& loop, camsim::UsbFunction& function,
                const UsbfsFeatures& features = {});
    ~EmulatedUsb();
    EmulatedUsb(const EmulatedUsb&) = delete;
    EmulatedUsb& operator=(const EmulatedUsb&) = delete;

    /// From the loop's thread. The device comes back with the next number. Harmless if it is
    /// plugged out, or in, already.
    void unplug();
    void plug();
    bool isPlugged() const { return !device_.empty(); }

    /// What stands in UMOCKDEV_DIR.
    std::string root() const;
    /// Of the device as it is, or was last, plugged in: /dev/bus/usb/001/002
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
    std::string hub_, device_, interface_;  ///< sysfs paths; the last two while plugged in
    int deviceNumber_ = 1;
    /// Also of the past ones, whose clients may not be done yet.
    std::vector<std::unique_ptr<UsbfsNode>> nodes_;
};

}  // namespace zlk::emulated
