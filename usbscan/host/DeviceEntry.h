#pragma once
// Makes a device that isn't on the USB bus, such as a virtual camera, visible to clients: a file in
// <root>/devices/ and a listening socket beside it, for as long as this object lives.
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
    std::string manufacturer, product, serial;  ///< UTF-8; the device's own texts
};

class DeviceEntry {
  public:
    /// `folder` is that of deviceFolder() in usbscan/usbscan.h; `name` consists of letters, digits
    /// and `-`. Throws std::system_error, with EBUSY if another process serves a device of this
    /// name.
    DeviceEntry(const std::string& folder, const std::string& name,
                const DeviceDescription& description);
    /// Removes the entry and closes the listening socket.
    ~DeviceEntry();
    DeviceEntry(const DeviceEntry&) = delete;
    DeviceEntry& operator=(const DeviceEntry&) = delete;

    /// The non-blocking listening socket, which stays the entry's.
    int listeningSocket() const noexcept { return socket_.get(); }

  private:
    std::string path_;
    Descriptor lock_;  // released last: until then no other process may take the name
    Descriptor socket_;
};

}  // namespace zlk::usbscan
