#include "tools/zlkcamsim/Plug.h"

#include "tools/zlkcamsim/SimulatedDevice.h"
#include "usbscan/usbscan.h"

namespace zlk::camsim {

Plug::Plug(usbscan::EventLoop& loop, VirtualCamera& camera, std::string name)
    : loop_(loop), camera_(camera), name_(std::move(name)) {
    camera_.setPulled([this] { unplug(); });
}

void Plug::plug() {
    if (entry_) return;
    const Identity& identity = camera_.identity();
    entry_ = std::make_unique<usbscan::DeviceEntry>(
        deviceFolder(), name_,
        usbscan::DeviceDescription{identity.vid, identity.pid, identity.manufacturer,
                                   identity.product, identity.serial});
    // The host of the previous plugging has stayed for its clients, and ends only now.
    host_.reset();
    camera_.busReset();
    plugging_ = std::make_shared<int>();
    // When the host has ended, the camera disappears from the bus. The end of an earlier host must
    // not take a newer entry away, hence `plugging_`.
    host_ = std::make_unique<usbscan::DeviceHost>(
        loop_, std::make_unique<SimulatedDevice>(loop_, camera_), std::chrono::milliseconds(0),
        [this, plugging = std::weak_ptr(plugging_)] {
            if (!plugging.expired()) entry_.reset();
        });
    host_->listenOn(entry_->listeningSocket());
}

void Plug::unplug() {
    if (!entry_) return;
    host_->deviceGone();
    entry_.reset();
}

}  // namespace zlk::camsim
