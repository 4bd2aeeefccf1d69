#pragma once
// Makes a virtual camera appear among this machine's cameras, and disappear again.

#include <memory>
#include <string>

#include "tools/zlkcamsim/VirtualCamera.h"
#include "usbscan/host/DeviceEntry.h"
#include "usbscan/host/DeviceHost.h"

namespace zlk::camsim {

/// Used on the thread of the event loop only.
class Plug {
  public:
    /// `name` is the name of the camera's entry among the devices: letters, digits and `-`. Camera
    /// and loop outlive this.
    Plug(usbscan::EventLoop& loop, VirtualCamera& camera, std::string name);

    /// Makes the camera appear; does nothing if it is there. Throws std::system_error, for instance
    /// if another process serves a device of this name.
    void plug();
    /// Makes the camera disappear. All clients learn of it at once.
    void unplug();
    bool isPlugged() const { return entry_ != nullptr; }

  private:
    usbscan::EventLoop& loop_;
    VirtualCamera& camera_;
    std::string name_;
    // What lets others find the camera; null while it is unplugged.
    std::unique_ptr<usbscan::DeviceEntry> entry_;
    // Stays after an unplugging, for clients that are still connected; the next plug() replaces it.
    std::unique_ptr<usbscan::DeviceHost> host_;
    // Made anew for each plugging, so that the callback of an earlier host can see that it comes
    // too late.
    std::shared_ptr<const int> plugging_;
};

}  // namespace zlk::camsim
