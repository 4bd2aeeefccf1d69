#pragma once
// A device that isn't on the bus and is found all the same: a file in <root>/devices/ and a
// listening socket beside it, for as long as its process lives and keeps it.
//
//     <name>.device   what it is: lines of `key value` (vid, pid, manufacturer, product, serial)
//     <name>.lock     held by the process that serves it
//     <name>.sock     the socket at which that process listens

#include <cstdint>
#include <string>

#include "platform/descriptor.h"

namespace zlk::usbscan {

struct DeviceDescription {
    std::uint16_t vid = 0, pid = 0;
    std::string manufacturer, product, serial;  ///< UTF-8, as the device's strings say
};

class DeviceEntry {
  public:
    /// `folder` as deviceFolder() of usbscan/usbscan.h gives it; `name` of letters, digits, `-`.
    /// Throws std::system_error: EBUSY if another process serves a device of this name.
    DeviceEntry(const std::string& folder, const std::string& name,
                const DeviceDescription& description);
    /// Takes the entry out. The listening socket is closed.
    ~DeviceEntry();
    DeviceEntry(const DeviceEntry&) = delete;
    DeviceEntry& operator=(const DeviceEntry&) = delete;

    /// Non-blocking; stays the entry's.
    int listeningSocket() const noexcept { return socket_.get(); }

  private:
    std::string path_;
    Descriptor lock_;  // let go of last: until then nobody else may take the place
    Descriptor socket_;
};

}  // namespace zlk::usbscan
