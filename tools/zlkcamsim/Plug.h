#pragma once
// Plugs a virtual camera into this machine, and pulls it out.

#include <memory>
#include <string>

#include "tools/zlkcamsim/VirtualCamera.h"
#include "usbscan/host/DeviceEntry.h"
#include "usbscan/host/DeviceHost.h"

namespace zlk::camsim {

class Plug {
  public:
    /// `name` of the entry, of letters, digits and `-`. Camera and loop outlive it.
    Plug(usbscan::EventLoop& loop, VirtualCamera& camera, std::string name);

    /// Harmless for one that is plugged in. Throws std::system_error if another process serves a
    /// device of this name.
    void plug();
    /// Every client is told at once, and nobody finds the device any more.
    void unplug();
    bool isPlugged() const { return entry_ != nullptr; }

  private:
    usbscan::EventLoop& loop_;
    VirtualCamera& camera_;
    std::string name_;
    std::unique_ptr<usbscan::DeviceEntry> entry_;
    std::unique_ptr<usbscan::DeviceHost> host_;  ///< stays behind an unplugging
    std::shared_ptr<const int> plugging_;        ///< the one that a host's end belongs to
};

}  // namespace zlk::camsim
