#pragma once
// Lists the still-image devices that are attached: those on the USB bus, as the kernel reports
// them, and those that a process of ours serves (host/DeviceEntry.h). Each has a port number, which
// it keeps while it is attached. All processes with the same machine root use the same numbers.
//
// Numbers have four digits, so that none is a prefix of another: callers compare port names by
// their beginnings. A new device gets the lowest free number, so that it may take over an earlier
// device's entry in the tables of ports (transport/PortTable.h), which have few places.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/types.h"

namespace zlk::platform {

inline constexpr unsigned firstPort = 1000, lastPort = 9999;

/// A snapshot of one device; it may be unplugged at any time.
struct AttachedDevice {
    std::string name;  ///< of its files in <root>/devices/; `usb-BBB-DDD` for one on the bus
    std::string node;  ///< its device node; empty for one that a process serves
    std::uint16_t vid = 0, pid = 0;
    std::string manufacturer, product, serial;  ///< the device's own strings: untrusted
    unsigned port = 0;
};

/// The devices, sorted by port. One that can't be given a port number is missing. From any thread.
std::vector<AttachedDevice> attachedDevices();

/// The names that open a device: on the first driver family, with the front `\\.\`; on the second
/// family, without the front `\\?\`.
std::u16string scannerPortText(const AttachedDevice& device);
std::string portableDevicePath(const AttachedDevice& device);
/// The device that has this name on one of the two families. The name comes without its front
/// (`\\.\` or `\\?\`), and case doesn't matter. A device path holds vid and pid as well, so the
/// path of an earlier device doesn't match a device of another model at the same port.
std::optional<AttachedDevice> attachedDevice(std::u16string_view name);

}  // namespace zlk::platform
